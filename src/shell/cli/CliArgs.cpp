#include "shell/cli/CliArgs.h"

namespace zenvary::cli {

bool CliArgs::parse(int argc, char** argv, int first, const std::vector<OptionSpec>& accepted, std::string& error) {
    bool optionsEnded = false;
    for (int i = first; i < argc; ++i) {
        std::string arg = argv[i];
        if (optionsEnded || arg.size() < 3 || arg.compare(0, 2, "--") != 0) {
            if (arg == "--") {
                optionsEnded = true;
                continue;
            }
            m_operands.push_back(arg);
            continue;
        }
        std::string name = arg.substr(2);
        std::optional<std::string> inlineValue;
        if (auto eq = name.find('='); eq != std::string::npos) {
            inlineValue = name.substr(eq + 1);
            name.resize(eq);
        }
        const OptionSpec* option = nullptr;
        for (const auto& s : accepted)
            if (name == s.name) option = &s;
        if (!option) {
            error = "unknown option --" + name;
            return false;
        }
        if (m_values.count(name) && !option->repeatable) {
            error = "option --" + name + " given twice";
            return false;
        }
        auto& slot = m_values[name];
        if (!option->takesValue) {
            if (inlineValue) {
                error = "option --" + name + " takes no value";
                return false;
            }
            slot.emplace_back();
            continue;
        }
        if (inlineValue) {
            slot.push_back(*inlineValue);
        } else if (i + 1 < argc) {
            slot.push_back(argv[++i]);
        } else {
            error = "option --" + name + " needs a value";
            return false;
        }
    }
    return true;
}

std::optional<std::string> CliArgs::value(const std::string& name) const {
    auto it = m_values.find(name);
    if (it == m_values.end() || it->second.empty()) return std::nullopt;
    return it->second.back();
}

const std::vector<std::string>& CliArgs::values(const std::string& name) const {
    static const std::vector<std::string> kNone;
    auto it = m_values.find(name);
    return it == m_values.end() ? kNone : it->second;
}

}  // namespace zenvary::cli
