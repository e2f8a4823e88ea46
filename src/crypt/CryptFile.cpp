// File encryption: the input streams through the chunk switches in
// 800000-byte reads, so memory stays bounded whatever the file's size. The
// output is raw ciphertext with no header.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "crypt/ClsCrypt.h"
#include "file/FileDataSource.h"
#include "file/FileInfo.h"
#include "file/OutputFile.h"
#include "file/ProgressMonitor.h"

namespace zenvary {

namespace {

constexpr uint32_t kChunk = 800000;

// A temporary file beside the target. It replaces the target on commit() and
// is removed otherwise, so a failed run leaves an existing target untouched.
class PendingOutput {
public:
    bool open(const XString& target, LogBase& log) {
        m_target = target.getUtf8();
        std::string pattern = m_target + ".zvtmp-XXXXXX";
        int fd = ::mkostemp(pattern.data(), O_CLOEXEC);
        if (fd < 0) {
            StringBuffer err;
            err.appendLastError();
            log.logData("osErrorInfo", err.getString());
            log.logData("utf8Filename", m_target.c_str());
            log.logError("Failed to open file (3)");
            return false;
        }
        m_temp = pattern;
        m_out = std::make_unique<OutputFile>(fd, true);
        return true;
    }
    bool write(const DataBuffer& data, LogBase& log) {
        if (data.getSize() == 0) return true;
        if (m_out->write(data.data(), data.getSize(), 1, &log) == 1) return true;
        log.logError("Failed to write to output file");
        return false;
    }
    bool commit(LogBase& log) {
        m_out->close();
        if (std::rename(m_temp.c_str(), m_target.c_str()) != 0) {
            StringBuffer err;
            err.appendLastError();
            log.logError(err.getString());
            return false;
        }
        m_temp.clear();
        return true;
    }
    ~PendingOutput() {
        if (m_out) m_out->close();
        if (!m_temp.empty()) ::unlink(m_temp.c_str());
    }

private:
    std::string m_target, m_temp;
    std::unique_ptr<OutputFile> m_out;
};

}  // namespace

bool ClsCrypt::EncryptFile(const XString& inPath, const XString& outPath, ProgressEvent* progress) {
    MethodFrame frame(*this, "EncryptFile");
    return cryptFile(true, inPath, outPath, progress);
}

bool ClsCrypt::DecryptFile(const XString& inPath, const XString& outPath, ProgressEvent* progress) {
    MethodFrame frame(*this, "DecryptFile");
    return cryptFile(false, inPath, outPath, progress);
}

bool ClsCrypt::cryptFile(bool encrypt, const XString& inPath, const XString& outPath, ProgressEvent* progress) {
    LogBase& log = m_log;
    const char* failed = encrypt ? "Failed to encrypt data" : "Failed to decrypt data";

    if (m_cryptAlgorithmId == kAlgPki) {
        // Public key: the whole input in memory, one call.
        DataBuffer input;
        if (!input.loadFile(inPath, &log)) return false;
        auto result = encrypt ? EncryptCore(input, log) : DecryptCore(input, log);
        if (!result) return false;
        PendingOutput out;
        return out.open(outPath, log) && out.write(*result, log) && out.commit(log);
    }

    FileInfo info;
    if (!info.load(inPath, &log)) return false;
    FileDataSource source;
    if (!source.openFile(inPath, &log)) return false;
    PendingOutput out;
    if (!out.open(outPath, log)) return false;

    ProgressMonitor monitor(info.size(), progress);
    CryptoPtr holder(static_cast<int>(m_cryptAlgorithmId));
    DataBuffer encryptChain;
    uint8_t decryptChain[32] = {};
    const ChunkRun run{holder, encryptChain, decryptChain};

    int64_t remaining = info.size();
    bool isFirst = true;
    bool nearEnd = remaining < kChunk + 1;
    DataBuffer chunk(kChunk + 64);
    while (!source.atEnd()) {
        uint32_t got = 0;
        chunk.clear();
        if (!source.read(chunk.getData(), kChunk, got, &log)) {
            log.logError("Failed to read next chunk from input file");
            return false;
        }
        if (got == 0) break;
        chunk.setSize(got);
        remaining -= got;
        // `nearEnd` is the value from before this read: the last chunk read
        // is the one that carries the padding.
        std::unique_ptr<DataBuffer> result;
        if (isFirst && nearEnd)
            result = encrypt ? EncryptCore(chunk, log) : DecryptCore(chunk, log);
        else if (isFirst)
            result = firstChunkSwitch(encrypt, chunk, log, run);
        else
            result = laterChunkSwitch(encrypt, nearEnd, chunk, log, run);
        if (!result) {
            log.logError(failed);
            return false;
        }
        if (!out.write(*result, log)) return false;
        if (remaining < kChunk + 1) nearEnd = true;
        isFirst = false;
        if (progress) {
            bool abort = false;
            monitor.advance(got, abort);
            if (abort) {
                log.logError("Aborted by application");
                return false;
            }
        }
    }
    if (progress) monitor.finish();
    return out.commit(log);
}

}  // namespace zenvary
