#include "Platform/Linux/AacGaplessInformation.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace tapwell {
namespace {

std::string upperHex(std::uint64_t value, std::size_t digits) {
    std::string text(digits, '0');
    for (std::size_t i = digits; i-- > 0; value >>= 4)
        text[i] = "0123456789ABCDEF"[value & 0xF];
    return text;
}

}  // namespace

std::string AacGaplessInformation::value() const {
    const std::uint64_t decodedFrames = index_.decodedFrames();
    const std::uint64_t paddingFrames =
        decodedFrames == 0 ? 0 : decodedFrames - track_.primingFrames - index_.frameCount;
    std::string value = " 00000000";
    for (const auto& [number, digits] :
         {std::pair<std::uint64_t, std::size_t>{track_.primingFrames, 8},
          {paddingFrames, 8},
          {index_.frameCount, 16}})
        value.append(" ").append(upperHex(number, digits));
    for (int i = 0; i < 8; ++i)
        value += " 00000000";
    return value;
}

void AacGaplessInformation::write(Mp4BoxWriter& out) const {
    constexpr std::uint32_t kUtf8 = 1;
    out.box("udta", [&] {
        out.fullBox("meta", 0, 0, [&] {
            out.fullBox("hdlr", 0, 0, [&] {
                out.u32(0);
                out.text("mdirappl");
                out.zeros(9);
            });
            out.box("ilst", [&] {
                out.box("----", [&] {
                    out.fullBox("mean", 0, 0, [&] { out.text("com.apple.iTunes"); });
                    out.fullBox("name", 0, 0, [&] { out.text("iTunSMPB"); });
                    out.fullBox("data", 0, kUtf8, [&] {
                        out.u32(0);  // locale
                        out.text(value());
                    });
                });
            });
        });
    });
}

}  // namespace tapwell
