#pragma once

#include <cstddef>
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

template <class Handle>
void DestroyHandles(std::vector<Handle*>& handles) {
  for (Handle* handle : handles) delete handle;
  handles.clear();
}

/// Handles of no rows that no block owns yet: they are destroyed when an allocation after theirs throws.
template <class Handle>
class NewHandles {
 public:
  /// None when the count is not positive.
  explicit NewHandles(int count) {
    if (count > 0) _handles.reserve(static_cast<std::size_t>(count));
    try {
      for (int k = 0; k < count; ++k) _handles.push_back(MakeHandle<Handle>());
    } catch (...) {
      DestroyHandles(_handles);
      throw;
    }
  }
  ~NewHandles() { DestroyHandles(_handles); }
  NewHandles(const NewHandles&) = delete;
  NewHandles& operator=(const NewHandles&) = delete;

  std::size_t Count() const { return _handles.size(); }
  Handle& operator[](std::size_t k) { return *_handles[k]; }

  /// So that handing these over to the list throws nothing.
  void MakeRoomIn(std::vector<Handle*>& handles) const {
    if (!handles.empty()) handles.reserve(handles.size() + _handles.size());
  }
  void AppendTo(std::vector<Handle*>& handles) {
    if (handles.empty()) {
      handles.swap(_handles);
    } else {
      handles.insert(handles.end(), _handles.begin(), _handles.end());
      _handles.clear();
    }
  }

 private:
  std::vector<Handle*> _handles;
};

/// Copies of the handles' records behind new handles.
template <class Handle>
void CopyRecords(const std::vector<Handle*>& from, NewHandles<Handle>& to) {
  for (std::size_t k = 0; k < from.size(); ++k) *to[k].Data() = *from[k]->Data();
}

}  // namespace vexa
