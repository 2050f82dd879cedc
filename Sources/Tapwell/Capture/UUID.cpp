#include "Tapwell/Capture/UUID.h"

#include <array>
#include <cstdio>
#include <random>

namespace tapwell {

std::string makeUUID() {
    std::random_device source;
    std::array<unsigned, 4> words{};
    for (unsigned& word : words)
        word = source();
    words[1] = (words[1] & 0xFFFF0FFFU) | 0x00004000U;
    words[2] = (words[2] & 0x3FFFFFFFU) | 0x80000000U;
    std::array<char, 37> text{};
    std::snprintf(text.data(), text.size(), "%08X-%04X-%04X-%04X-%04X%08X", words[0],
                  words[1] >> 16, words[1] & 0xFFFFU, words[2] >> 16, words[2] & 0xFFFFU, words[3]);
    return text.data();
}

}  // namespace tapwell
