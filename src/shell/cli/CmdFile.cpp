// encrypt-file, decrypt-file: files streamed through the cipher in chunks.
#include "shell/cli/Cli.h"
#include "shell/cli/Progress.h"

namespace zenvary::cli {

namespace {

int runFile(CommandContext& ctx, bool encrypt) {
    if (ctx.args.operands().size() != 2) return usageError("give IN and OUT");
    if (ctx.args.has("encoding") || ctx.args.has("text") || ctx.args.has("charset"))
        return usageError("--encoding, --text and --charset do not apply to files");
    if (int rc = applyCipherOptions(ctx)) return rc;
    XString in, out;
    in.setFromUtf8(ctx.args.operands()[0].c_str());
    out.setFromUtf8(ctx.args.operands()[1].c_str());
    ProgressBar bar;
    const bool ok = encrypt ? ctx.crypt.EncryptFile(in, out, bar.sink()) : ctx.crypt.DecryptFile(in, out, bar.sink());
    return ok ? kExitOk : memberFailed(ctx.crypt);
}

int runEncryptFile(CommandContext& ctx) { return runFile(ctx, true); }
int runDecryptFile(CommandContext& ctx) { return runFile(ctx, false); }

}  // namespace

std::vector<Command> fileCommands() {
    return {
        {"encrypt-file", "encrypt a file into another (raw ciphertext)",
         "usage: zenvary encrypt-file [OPTIONS] IN OUT\n"
         "\n"
         "Encrypts IN into OUT in 800000-byte chunks: memory stays small whatever\n"
         "the size. OUT is raw ciphertext with no header, so the same key, IV,\n"
         "mode and padding are needed to decrypt. OUT is replaced only when the\n"
         "whole run succeeds. A progress bar shows on a terminal.\n"
         "Options as for encrypt (see zenvary encrypt --help), without --encoding.\n"
         "\n"
         "example:\n"
         "  zenvary encrypt-file --alg aes --key-length 256 --password 'pass phrase' \\\n"
         "      --iv 000102030405060708090A0B0C0D0E0F report.pdf report.pdf.enc\n",
         cipherOptions(), runEncryptFile},
        {"decrypt-file", "decrypt a file into another",
         "usage: zenvary decrypt-file [OPTIONS] IN OUT\n"
         "\n"
         "Decrypts what encrypt-file made, with the same options.\n"
         "\n"
         "example:\n"
         "  zenvary decrypt-file --alg aes --key-length 256 --password 'pass phrase' \\\n"
         "      --iv 000102030405060708090A0B0C0D0E0F report.pdf.enc report.pdf\n",
         cipherOptions(), runDecryptFile},
    };
}

}  // namespace zenvary::cli
