// compress, inflate: bzip2 in the component's 8-byte envelope.
#include "shell/cli/Cli.h"

namespace zenvary::cli {

namespace {

int runCompress(CommandContext& ctx) {
    DataBuffer input;
    if (!readInput(ctx.args, input)) return kExitFailed;
    auto out = ctx.crypt.CompressBytes(input);
    if (!out) return memberFailed(ctx.crypt);
    return writeOutput(*out) ? kExitOk : kExitFailed;
}

int runInflate(CommandContext& ctx) {
    DataBuffer input;
    if (!readInput(ctx.args, input)) return kExitFailed;
    auto out = ctx.crypt.InflateBytes(input);
    if (!out) return memberFailed(ctx.crypt);
    return writeOutput(*out) ? kExitOk : kExitFailed;
}

}  // namespace

std::vector<Command> compressionCommands() {
    return {
        {"compress", "compress bytes with bzip2 (component envelope)",
         "usage: zenvary compress [FILE]\n"
         "\n"
         "Compresses FILE (or standard input) with bzip2 and writes the\n"
         "component's form: an 8-byte head (magic E1 A7 94 B3 and the size,\n"
         "little-endian) followed by the bzip2 stream.\n"
         "\n"
         "example:\n"
         "  zenvary compress big.log > big.zvb\n",
         {},
         runCompress},
        {"inflate", "inflate what compress made",
         "usage: zenvary inflate [FILE]\n"
         "\n"
         "Inflates the output of compress. Damaged input gives empty or short\n"
         "output, not an error.\n"
         "\n"
         "example:\n"
         "  zenvary inflate big.zvb > big.log\n",
         {},
         runInflate},
    };
}

}  // namespace zenvary::cli
