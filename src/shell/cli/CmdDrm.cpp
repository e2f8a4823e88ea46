// drm: packs content into a DCF file, unpacks it, and shows its fields, all
// through one ClsOmaDrm object. Files are written beside the target under a
// temporary name and renamed only on success, so a failed run leaves no
// partial output and an existing target untouched.
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>

#include "crypt/ClsEncode.h"
#include "drm/ClsOmaDrm.h"
#include "drm/MimeField.h"
#include "shell/capi/capi_internal.h"
#include "shell/cli/Cli.h"

namespace zenvary::cli {

namespace {

// The longest content type or URI that the format's one-byte lengths hold.
constexpr size_t kMaxFieldLength = 255;

XString utf8(const std::string& s) {
    XString x;
    x.setFromUtf8(s.c_str());
    return x;
}

std::string text(const XString& x) { return std::string(x.getUtf8(), x.getUtf8Length()); }

// True when the object's log holds more than its root line: some framed
// method ran.
bool hasLog(ClsOmaDrm& drm) {
    StringBuffer rendered;
    drm.log().getText(rendered);
    const std::string_view text(rendered.getString(), rendered.getLength());
    const size_t end = text.find('\n');
    return end != std::string_view::npos && end + 1 < text.size();
}

struct DrmRun {
    CommandContext& ctx;
    ClsOmaDrm drm;
    std::string subcommand;

    // The object's log when it has one (unless --log prints it anyway), then
    // the tool's own message. `objectFailed` is false for failures that are
    // the tool's own, where the log has nothing to add.
    int failed(const std::string& message, bool objectFailed = true) {
        if (objectFailed && !ctx.showLog && hasLog(drm)) {
            XString log;
            drm.get_LastErrorText(log);
            std::fwrite(log.getUtf8(), 1, log.getUtf8Length(), stderr);
        }
        std::fprintf(stderr, "zenvary: drm %s: %s\n", subcommand.c_str(), message.c_str());
        return kExitFailed;
    }
};

// A temporary name beside the target that replaces it on commit() and is
// removed otherwise.
class PendingFile {
public:
    bool open(const std::string& target, std::string& error) {
        m_target = target;
        std::string pattern = target + ".zvtmp-XXXXXX";
        int fd = ::mkostemp(pattern.data(), O_CLOEXEC);
        if (fd < 0) {
            error = target + ": " + std::strerror(errno);
            return false;
        }
        // The mode a newly created file would get, not mkostemp's 0600.
        const mode_t mask = ::umask(0);
        ::umask(mask);
        ::fchmod(fd, 0666 & ~mask);
        ::close(fd);
        m_temp = pattern;
        return true;
    }
    const std::string& name() const { return m_temp; }
    bool commit(std::string& error) {
        if (std::rename(m_temp.c_str(), m_target.c_str()) != 0) {
            error = m_target + ": " + std::strerror(errno);
            return false;
        }
        m_temp.clear();
        return true;
    }
    ~PendingFile() {
        if (!m_temp.empty()) ::unlink(m_temp.c_str());
    }

private:
    std::string m_target, m_temp;
};

// --key: base64 of exactly 16 bytes, the AES-128 key.
int checkKey(const std::string& key) {
    for (char c : key)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '/' && c != '=')
            return usageError("--key needs base64 text");
    ClsEncode codec;
    DataBuffer bytes;
    codec.decodeByName(utf8(key), utf8("base64"), bytes, false);
    if (bytes.getSize() != ClsOmaDrm::kKeyLengthBits / 8) return usageError("--key needs base64 of 16 bytes");
    return 0;
}

// The options a subcommand takes; any other given option is a usage error.
int checkOptions(const CliArgs& args, const std::string& sub, const std::set<std::string>& allowed) {
    for (const char* name : {"key", "iv", "content-type", "content-uri", "header", "field"})
        if (args.has(name) && !allowed.count(name)) return usageError("drm " + sub + " takes no --" + name);
    return 0;
}

// ---- pack ----

// "Name: value" lines joined into a header block, each closed by CR LF.
int headerBlock(const std::vector<std::string>& headers, std::string& block) {
    for (const std::string& h : headers) {
        if (h.find_first_of("\r\n") != std::string::npos) return usageError("--header takes one line");
        MimeField field;
        if (!field.parseLine(h.c_str()) || field.getName().getLength() == 0)
            return usageError("--header needs 'Name: value'");
        block += h + "\r\n";
    }
    return 0;
}

// Names the field that kept the writer from writing.
std::string packFailure(const ClsOmaDrm& drm) {
    const OmaDrm& r = drm.record();
    if (r.contentType.getLength() == 0) return "the content type is empty";
    if (r.contentUri.getLength() == 0) return "the content URI is empty";
    if (r.headers.getLength() == 0) return "the header block is empty: give at least one --header";
    if (r.encryptedData.getSize() == 0) return "the content is empty: a DCF file can't hold empty content";
    return "could not write the file";
}

int runPack(DrmRun& run) {
    const CliArgs& a = run.ctx.args;
    if (int rc = checkOptions(a, "pack", {"key", "iv", "content-type", "content-uri", "header"})) return rc;
    if (a.operands().size() != 3) return usageError("drm pack needs IN and OUT");
    const std::string& in = a.operands()[1];
    const std::string& out = a.operands()[2];
    auto key = a.value("key");
    auto type = a.value("content-type");
    auto uri = a.value("content-uri");
    if (!key) return usageError("drm pack needs --key BASE64");
    if (!type) return usageError("drm pack needs --content-type TYPE");
    if (!uri) return usageError("drm pack needs --content-uri URI");
    if (int rc = checkKey(*key)) return rc;
    if (type->size() > kMaxFieldLength) return usageError("--content-type is longer than 255 bytes");
    if (uri->size() > kMaxFieldLength) return usageError("--content-uri is longer than 255 bytes");
    std::string block;
    if (int rc = headerBlock(a.values("header"), block)) return rc;

    DataBuffer iv;
    if (auto v = a.value("iv")) {
        if (!parseHexOption(*v, iv) || iv.getSize() != ClsOmaDrm::kIvBytes)
            return usageError("--iv needs 16 bytes in hexadecimal");
    } else {
        // The object makes no IV of its own: a fresh one from the kernel.
        uint8_t fresh[ClsOmaDrm::kIvBytes];
        if (getrandom(fresh, sizeof fresh, 0) != static_cast<ssize_t>(sizeof fresh))
            return run.failed(std::string("no random IV: ") + std::strerror(errno), false);
        iv.append(fresh, sizeof fresh);
    }

    ClsOmaDrm& drm = run.drm;
    drm.put_Base64Key(utf8(*key));
    drm.put_IV(iv);
    drm.put_ContentType(utf8(*type));
    drm.put_ContentUri(utf8(*uri));
    drm.put_Headers(utf8(block));
    if (!drm.LoadUnencryptedFile(utf8(in))) return run.failed(in + ": cannot read the content");

    PendingFile pending;
    std::string error;
    if (!pending.open(out, error)) return run.failed(error, false);
    if (!drm.CreateDcfFile(utf8(pending.name()))) return run.failed(out + ": " + packFailure(drm));
    if (!pending.commit(error)) return run.failed(error, false);
    return kExitOk;
}

// ---- unpack ----

int runUnpack(DrmRun& run) {
    const CliArgs& a = run.ctx.args;
    if (int rc = checkOptions(a, "unpack", {"key"})) return rc;
    if (a.operands().size() != 3) return usageError("drm unpack needs IN and OUT");
    const std::string& in = a.operands()[1];
    const std::string& out = a.operands()[2];
    auto key = a.value("key");
    if (!key) return usageError("drm unpack needs --key BASE64");
    if (int rc = checkKey(*key)) return rc;

    ClsOmaDrm& drm = run.drm;
    drm.put_Base64Key(utf8(*key));
    if (!drm.LoadDcfFile(utf8(in))) return run.failed(in + ": not a readable DCF file");
    PendingFile pending;
    std::string error;
    if (!pending.open(out, error)) return run.failed(error, false);
    if (!drm.SaveDecrypted(utf8(pending.name()))) return run.failed(out + ": could not decrypt and write the content");
    if (!pending.commit(error)) return run.failed(error, false);
    return kExitOk;
}

// ---- info ----

int runInfo(DrmRun& run) {
    const CliArgs& a = run.ctx.args;
    if (int rc = checkOptions(a, "info", {"field"})) return rc;
    if (a.operands().size() != 2) return usageError("drm info needs IN");
    const std::string& in = a.operands()[1];
    ClsOmaDrm& drm = run.drm;
    if (!drm.LoadDcfFile(utf8(in))) return run.failed(in + ": not a readable DCF file");

    std::string report;
    if (a.has("field")) {
        // Just the values of the named header fields, one a line.
        for (const std::string& name : a.values("field")) {
            XString value;
            if (!drm.GetHeaderField(utf8(name), value)) return run.failed("no header field " + name, false);
            report += text(value) + "\n";
        }
        return writeOutput(report.data(), report.size()) ? kExitOk : kExitFailed;
    }
    XString s;
    DataBuffer bytes;
    report += "DrmContentVersion: " + std::to_string(drm.get_DrmContentVersion()) + "\n";
    drm.get_ContentType(s);
    report += "ContentType: " + text(s) + "\n";
    drm.get_ContentUri(s);
    report += "ContentUri: " + text(s) + "\n";
    drm.get_IV(bytes);
    StringBuffer hex;
    bytes.toHex(hex);
    report += "IV: " + std::string(hex.getString(), hex.getLength()) + "\n";
    drm.get_EncryptedData(bytes);
    report += "EncryptedData: " + std::to_string(bytes.getSize()) + " bytes\n";
    drm.get_Headers(s);
    std::string headers = text(s);
    // The raw block, one header a line, with its line ends made plain.
    std::string lines;
    for (char c : headers)
        if (c != '\r') lines += c;
    if (!lines.empty() && lines.back() != '\n') lines += '\n';
    report += "Headers:\n" + lines;
    return writeOutput(report.data(), report.size()) ? kExitOk : kExitFailed;
}

int runDrm(CommandContext& ctx) {
    const auto& operands = ctx.args.operands();
    if (operands.empty()) return usageError("drm needs pack, unpack or info");
    DrmRun run{ctx, {}, operands.front()};
    run.drm.setComponentKind(capi::kKindCli);
    int rc;
    if (run.subcommand == "pack")
        rc = runPack(run);
    else if (run.subcommand == "unpack")
        rc = runUnpack(run);
    else if (run.subcommand == "info")
        rc = runInfo(run);
    else
        return usageError("unknown drm command " + run.subcommand);
    if (ctx.showLog && rc != kExitUsage) {
        XString log;
        run.drm.get_LastErrorText(log);
        std::fwrite(log.getUtf8(), 1, log.getUtf8Length(), stderr);
        ctx.logShown = true;
    }
    return rc;
}

}  // namespace

std::vector<Command> drmCommands() {
    return {
        {"drm", "pack, unpack or inspect a DCF file (OMA DRM 1)",
         "usage: zenvary drm pack --key BASE64 [--iv HEX] --content-type TYPE\n"
         "                        --content-uri URI --header 'Name: value'... IN OUT\n"
         "       zenvary drm unpack --key BASE64 IN OUT\n"
         "       zenvary drm info [--field NAME]... IN\n"
         "\n"
         "A DCF file holds one content object encrypted with AES-128 in CBC mode\n"
         "(PKCS#7 padding), its content type, a content URI and a block of headers.\n"
         "pack encrypts IN into the DCF file OUT; unpack decrypts the content of IN\n"
         "into OUT; info prints the fields of IN. OUT is replaced only on success.\n"
         "A wrong key is not detected: unpack then writes what the padding\n"
         "removal leaves.\n"
         "\n"
         "options:\n"
         "  --key BASE64         the AES-128 key, base64 of 16 bytes\n"
         "  --iv HEX             the IV, 16 bytes; a fresh random one when not given\n"
         "  --content-type TYPE  the content's MIME type (1 to 255 bytes)\n"
         "  --content-uri URI    the content's URI (1 to 255 bytes)\n"
         "  --header 'N: V'      one header line; repeat for more. At least one is\n"
         "                       needed, and the content may not be empty\n"
         "  --field NAME         info: print only this header's value (case ignored);\n"
         "                       exit 1 when the file has no such header\n"
         "\n"
         "example:\n"
         "  zenvary drm pack --key AAECAwQFBgcICQoLDA0ODw== --content-type image/png \\\n"
         "      --content-uri cid:logo@example.com \\\n"
         "      --header 'Encryption-Method: AES128CBC;padding=RFC2630' logo.png logo.dcf\n"
         "  zenvary drm info --field Encryption-Method logo.dcf\n"
         "  zenvary drm unpack --key AAECAwQFBgcICQoLDA0ODw== logo.dcf logo.png\n",
         {{"key", true}, {"iv", true}, {"content-type", true}, {"content-uri", true}, {"header", true, true},
          {"field", true, true}},
         runDrm},
    };
}

}  // namespace zenvary::cli
