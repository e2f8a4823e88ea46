// Hashing: the SHA-1 and MD2 entry points of the facade, in memory and over
// a file. The file form streams through the component's own SHA-1 and MD2
// with the messages a platform hash provider would give.
#pragma once
#include <cstddef>
#include <cstdint>

#include "core/DataBuffer.h"

namespace zenvary {

class FileDataSource;
class LogBase;
class ProgressMonitor;

class Hashing {
public:
    // Platform algorithm ids of the file form.
    static constexpr uint32_t kAlgSha = 32772;
    static constexpr uint32_t kAlgMd2 = 32769;

    virtual ~Hashing() = default;

    bool hashSha1(const DataBuffer& input, DataBuffer& output, LogBase* log) const;
    bool hashSha1(const void* data, size_t length, DataBuffer& output) const;
    bool hashMd2(const DataBuffer& input, DataBuffer& output, LogBase* log) const;
    bool hashMd2(const void* data, size_t length, DataBuffer& output) const;
    // The whole source through SHA-1 (kAlgSha) or MD2 (kAlgMd2) into
    // `output`. An unknown algorithm logs "Failed to create hash object.".
    bool hashPlatform(uint32_t algorithm, FileDataSource& source, DataBuffer& output, ProgressMonitor* monitor,
                      LogBase* log) const;
};

}  // namespace zenvary
