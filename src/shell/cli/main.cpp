// zenvary: the command-line face of the component. Each command sets the
// properties of one ClsCrypt object and calls its members.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "shell/capi/capi_internal.h"
#include "shell/cli/Cli.h"

using namespace zenvary;
using namespace zenvary::cli;

namespace {

const char kToolHelp[] =
    "usage: zenvary [--log] COMMAND [OPTIONS] [FILE]\n"
    "       zenvary COMMAND --help\n"
    "\n"
    "Reads standard input (or FILE where a command takes one), writes the\n"
    "result to standard output with nothing added. Exit status: 0 success,\n"
    "1 the operation failed (its log goes to standard error), 2 usage error.\n"
    "--log prints the operation's log to standard error after any call.\n"
    "\n"
    "commands:\n";

std::vector<Command> allCommands() {
    std::vector<Command> all;
    for (auto&& family : {encodingCommands(), cipherCommands(), fileCommands(), hashCommands(), compressionCommands(), convertCommands(), drmCommands(), pkiCommands()})
        for (auto& c : family) all.push_back(c);
    return all;
}

void printToolHelp(const std::vector<Command>& commands) {
    std::string text = kToolHelp;
    for (const auto& c : commands) {
        std::string line = "  " + std::string(c.name);
        line.resize(std::max<size_t>(line.size() + 1, 16), ' ');
        text += line + c.summary + "\n";
    }
    text += "\nexample:\n  printf 'hello' | zenvary encode --encoding hex      # 68656C6C6F\n";
    std::fputs(text.c_str(), stdout);
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<Command> commands = allCommands();
    bool showLog = false;
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; ++i) {
        if (!std::strcmp(argv[i], "--log")) {
            showLog = true;
        } else if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
            printToolHelp(commands);
            return kExitOk;
        } else {
            return usageError(std::string("unknown option ") + argv[i]);
        }
    }
    if (i >= argc) {
        printToolHelp(commands);
        return kExitUsage;
    }
    const Command* command = nullptr;
    for (const auto& c : commands)
        if (!std::strcmp(argv[i], c.name)) command = &c;
    if (!command) return usageError(std::string("unknown command ") + argv[i]);

    std::vector<OptionSpec> accepted = command->options;
    accepted.push_back({"help", false});
    accepted.push_back({"log", false});
    CliArgs args;
    std::string error;
    if (!args.parse(argc, argv, i + 1, accepted, error)) return usageError(error);
    if (args.has("help")) {
        std::fputs(command->help, stdout);
        return kExitOk;
    }
    showLog = showLog || args.has("log");

    ClsCrypt crypt;
    crypt.setComponentKind(capi::kKindCli);
    CommandContext ctx{crypt, args, showLog};
    const int rc = command->run(ctx);
    if (showLog && rc != kExitUsage && !ctx.logShown) {
        XString log;
        crypt.get_LastErrorText(log);
        std::fwrite(log.getUtf8(), 1, log.getUtf8Length(), stderr);
    }
    return rc;
}
