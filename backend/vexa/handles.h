#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

/// The handles that a pairwise block owns, each in one piece of memory with its record: half the allocations, and who
/// follows a handle finds the record next to it. To delete one is to delete any: a block may own handles made with
/// new, and who takes a handle from a block may delete it.

namespace vexa {

template <class Handle>
using RecordOfHandle = std::remove_pointer_t<decltype(std::declval<Handle&>().Data())>;

/// Whether a handle's record was made by itself. One that was does not begin where the handle ends: memory from new is aligned
/// for anything, which that place is not.
template <class Handle, class Record>
bool StandsAlone(const Handle* handle, const Record* record) {
  return static_cast<const void*>(record) != static_cast<const void*>(handle + 1);
}

template <class Handle>
Handle* MakeHandle() {
  using Record = RecordOfHandle<Handle>;
  static_assert(sizeof(Handle) % __STDCPP_DEFAULT_NEW_ALIGNMENT__ != 0 &&
                sizeof(Handle) % alignof(Record) == 0);
  auto* handle = static_cast<Handle*>(::operator new(sizeof(Handle) + sizeof(Record)));
  return new (handle) Handle(new (handle + 1) Record);
}

/// Handles that no block owns yet: they are destroyed when an allocation after theirs throws.
template <class Handle>
using NewHandles = std::vector<std::unique_ptr<Handle>>;

/// Handles of no rows; none when the count is not positive.
template <class Handle>
NewHandles<Handle> MakeHandles(int count) {
  NewHandles<Handle> made;
  if (count > 0) made.reserve(static_cast<std::size_t>(count));
  for (int k = 0; k < count; ++k) made.emplace_back(MakeHandle<Handle>());
  return made;
}

template <class Handle>
NewHandles<Handle> CopyHandles(const std::vector<Handle*>& handles) {
  NewHandles<Handle> made = MakeHandles<Handle>(static_cast<int>(handles.size()));
  for (std::size_t k = 0; k < handles.size(); ++k) *made[k]->Data() = *handles[k]->Data();
  return made;
}

/// Hands new handles over to a list that has room for them.
template <class Handle>
void Append(NewHandles<Handle>& made, std::vector<Handle*>& handles) {
  for (auto& handle : made) handles.push_back(handle.release());
}

template <class Handle>
void DestroyHandles(std::vector<Handle*>& handles) {
  for (Handle* handle : handles) delete handle;
  handles.clear();
}

}  // namespace vexa
