#include "Tapwell/Transcription/LocaleIdentifier.h"

#include <algorithm>

namespace tapwell {

std::string bcp47Identifier(const std::string& localeIdentifier) {
    std::string tag = localeIdentifier.substr(0, localeIdentifier.find('@'));
    std::replace(tag.begin(), tag.end(), '_', '-');
    return tag;
}

}  // namespace tapwell
