#ifndef KESTREL_OPTIONPROBLEM_H
#define KESTREL_OPTIONPROBLEM_H

#include <string>

namespace kestrel {

/// The one-line error for what getopt returned with opterr off: ':' for an option that lacks its argument,
/// anything else for an unknown option; option is getopt's optopt.
inline std::string optionProblem(int returned, int option) {
    const std::string name = std::string("-") + static_cast<char>(option);
    if (returned == ':') {
        return "option " + name + " needs an argument (see -h)";
    }
    return "unknown option " + name + " (see -h)";
}

} // namespace kestrel

#endif
