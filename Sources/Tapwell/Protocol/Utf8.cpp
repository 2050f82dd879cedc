#include "Tapwell/Protocol/Utf8.h"

#include <algorithm>
#include <array>

namespace tapwell {
namespace {

struct ByteRange {
    unsigned char first;
    unsigned char last;

    bool holds(char c) const {
        const auto byte = static_cast<unsigned char>(c);
        return first <= byte && byte <= last;
    }
};

/// A row of the table: which bytes lead a character of `size`, and what may follow them at once.
/// Every later byte is 80 to BF.
struct Row {
    ByteRange lead;
    std::size_t size;
    ByteRange second;
};

constexpr ByteRange kContinuation = {0x80, 0xBF};
constexpr std::array<Row, 8> kRows = {{{{0xC2, 0xDF}, 2, kContinuation},
                                       {{0xE0, 0xE0}, 3, {0xA0, 0xBF}},
                                       {{0xE1, 0xEC}, 3, kContinuation},
                                       {{0xED, 0xED}, 3, {0x80, 0x9F}},
                                       {{0xEE, 0xEF}, 3, kContinuation},
                                       {{0xF0, 0xF0}, 4, {0x90, 0xBF}},
                                       {{0xF1, 0xF3}, 4, kContinuation},
                                       {{0xF4, 0xF4}, 4, {0x80, 0x8F}}}};

bool isContinuation(char c) {
    return kContinuation.holds(c);
}

}  // namespace

std::size_t utf8CharacterSize(std::string_view text) {
    if (text.empty()) return 0;
    if (static_cast<unsigned char>(text.front()) < 0x80) return 1;
    const auto row = std::find_if(kRows.begin(), kRows.end(),
                                  [&](const Row& r) { return r.lead.holds(text.front()); });
    if (row == kRows.end() || text.size() < row->size || !row->second.holds(text[1])) return 0;
    const std::string_view rest = text.substr(2, row->size - 2);
    return std::all_of(rest.begin(), rest.end(), isContinuation) ? row->size : 0;
}

}  // namespace tapwell
