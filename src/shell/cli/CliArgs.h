// Command-line arguments of the zenvary tool: "--name value", "--name=value",
// boolean flags and positional operands, checked against what a command accepts.
#pragma once
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zenvary::cli {

struct OptionSpec {
    const char* name;     // without the leading "--"
    bool takesValue;
    bool repeatable = false;
};

class CliArgs {
public:
    // Parses argv[first..]; on a usage error returns false with `error` set.
    bool parse(int argc, char** argv, int first, const std::vector<OptionSpec>& accepted, std::string& error);

    bool has(const std::string& name) const { return m_values.count(name) != 0; }
    std::optional<std::string> value(const std::string& name) const;
    const std::vector<std::string>& values(const std::string& name) const;
    const std::vector<std::string>& operands() const { return m_operands; }

private:
    std::map<std::string, std::vector<std::string>> m_values;
    std::vector<std::string> m_operands;
};

}  // namespace zenvary::cli
