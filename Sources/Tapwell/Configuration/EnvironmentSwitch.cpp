#include "Tapwell/Configuration/EnvironmentSwitch.h"

#include "Tapwell/Diagnostics/TextFormat.h"

namespace tapwell {

bool isSwitchedOn(const Environment& environment, const std::string& variable) {
    const std::string value = environment.value(variable).value_or("");
    std::string lowered(trimmed(value));
    for (char& c : lowered)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lowered == "1" || lowered == "true" || lowered == "yes";
}

}  // namespace tapwell
