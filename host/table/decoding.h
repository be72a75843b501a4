#ifndef HOST_TABLE_DECODING_H
#define HOST_TABLE_DECODING_H

#include <functional>
#include <memory>
#include <string>

#include "table/bytesource.h"

namespace table {

/// The bytes of `source`, decompressed when they begin as gzip, zstd or xz data do, whatever the file is called: any
/// number of members, frames or streams behind each other, as the tools of these formats make of joined files.
///
/// Read throws InputError, named `name`, when such data are corrupt or end too early, and when they need more than
/// 256 MiB to be decompressed; all bytes before that have been handed out then. `stopped` is the source's own.
std::unique_ptr<ByteSource> Decoded(std::unique_ptr<ByteSource> source, std::string name,
                                    std::function<bool()> stopped);

}  // namespace table

#endif
