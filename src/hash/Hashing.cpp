#include "hash/Hashing.h"

#include "file/FileDataSource.h"
#include "file/ProgressMonitor.h"
#include "hash/HashSource.h"
#include "hash/Md2.h"
#include "hash/Sha1.h"
#include "log/LogBase.h"

namespace zenvary {

bool Hashing::hashSha1(const DataBuffer& input, DataBuffer& output, LogBase*) const {
    return hashSha1(input.data(), input.getSize(), output);
}

bool Hashing::hashSha1(const void* data, size_t length, DataBuffer& output) const {
    output.clear();
    Sha1().hash(data, length, output);
    return true;
}

bool Hashing::hashMd2(const DataBuffer& input, DataBuffer& output, LogBase*) const {
    return hashMd2(input.data(), input.getSize(), output);
}

bool Hashing::hashMd2(const void* data, size_t length, DataBuffer& output) const {
    output.clear();
    Md2().hash(data, length, output);
    return true;
}

bool Hashing::hashPlatform(uint32_t algorithm, FileDataSource& source, DataBuffer& output, ProgressMonitor* monitor,
                           LogBase* log) const {
    if (algorithm != kAlgSha && algorithm != kAlgMd2) {
        if (log) log->logError("Failed to create hash object.");
        return false;
    }
    Sha1 sha1;
    Md2 md2;
    auto feed = [&](const uint8_t* p, uint32_t n) {
        if (algorithm == kAlgSha)
            sha1.update(p, n);
        else
            md2.update(p, n);
    };
    const bool completed = monitor ? streamSource(source, monitor, log, "Hashing aborted by application", feed)
                                   : streamSource(source, static_cast<NoProgress*>(nullptr), log, "", feed);
    if (!completed) return false;
    uint8_t digest[20];
    uint32_t size = 20;
    if (algorithm == kAlgSha) {
        sha1.finish(digest);
    } else {
        md2.finish(digest);
        size = 16;
    }
    output.clear();
    output.append(digest, size);
    return true;
}

}  // namespace zenvary
