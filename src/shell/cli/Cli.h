// The zenvary tool's commands. Each command reads its input from standard
// input to EOF (or from a file operand where it says so), writes its result
// to standard output with nothing added, and exits 0 on success, 1 when the
// member reports failure (with LastErrorText on standard error), 2 on a
// usage error.
#pragma once
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "crypt/ClsCrypt.h"
#include "shell/cli/CliArgs.h"

namespace zenvary::cli {

enum ExitCode { kExitOk = 0, kExitFailed = 1, kExitUsage = 2 };

struct CommandContext {
    ClsCrypt& crypt;
    const CliArgs& args;
    bool showLog = false;   // --log was given
    bool logShown = false;  // the command printed the log of an object of its own
};

struct Command {
    const char* name;
    const char* summary;
    const char* help;  // usage, description and an example
    std::vector<OptionSpec> options;
    int (*run)(CommandContext& ctx);
};

// The command families; each lives in its own file.
std::vector<Command> encodingCommands();
std::vector<Command> cipherCommands();
std::vector<Command> compressionCommands();
std::vector<Command> hashCommands();
std::vector<Command> fileCommands();
std::vector<Command> convertCommands();
std::vector<Command> pkiCommands();
std::vector<Command> drmCommands();

// The cipher options shared by encrypt, decrypt and the file commands; the
// apply step sets the matching properties (0, or the usage exit code).
const std::vector<OptionSpec>& cipherOptions();
int applyCipherOptions(CommandContext& ctx);
bool parseHexOption(const std::string& text, DataBuffer& out);

// I/O shared by the commands.
bool readAll(const std::string& path, DataBuffer& out, std::string& error);  // "" or "-": standard input
bool readInput(const CliArgs& args, DataBuffer& out);  // the single operand, or standard input
bool writeOutput(const void* data, size_t n);
bool writeOutput(const DataBuffer& data);
bool writeOutput(const XString& text);
// Reports a usage error (exit 2).
int usageError(const std::string& message);
// Reports a failed member: its log on standard error (exit 1).
int memberFailed(ClsCrypt& crypt);

}  // namespace zenvary::cli
