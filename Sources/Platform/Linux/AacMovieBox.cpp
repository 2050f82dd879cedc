#include "Platform/Linux/AacMovieBox.h"

#include "Platform/Linux/AacGaplessInformation.h"
#include "Platform/Linux/AacSampleTable.h"

#include <array>
#include <string_view>

namespace tapwell {
namespace {

constexpr std::uint32_t kUnity16Dot16 = 0x00010000;
constexpr std::uint32_t kFullVolume8Dot8 = 0x0100;
constexpr std::uint32_t kUndeterminedLanguage = 0x55C4;

/// Durations of 32 bits last for a day at 48 kHz.
std::uint8_t versionFor(std::uint64_t duration) {
    return duration > Mp4BoxWriter::kMax32 ? 1 : 0;
}

void writeUnityMatrix(Mp4BoxWriter& out) {
    constexpr std::array<std::uint32_t, 9> kMatrix = {
        kUnity16Dot16, 0, 0, 0, kUnity16Dot16, 0, 0, 0, 0x40000000};
    for (const std::uint32_t value : kMatrix)
        out.u32(value);
}

/// Creation and modification.
void writeUntoldTimes(Mp4BoxWriter& out, std::uint8_t version) {
    out.u32or64(version, 0);
    out.u32or64(version, 0);
}

/// Says that fragments follow, and what they do not repeat.
void writeMovieExtends(Mp4BoxWriter& out) {
    // Packets of an audio track depend on no other packet.
    constexpr std::uint32_t kIndependentSample = 0x02000000;
    out.box("mvex", [&] {
        out.fullBox("trex", 0, 0, [&] {
            out.u32(AacMovieBox::kTrackId);
            out.u32(1);  // sample description
            out.u32(AacTrack::kFramesPerPacket);
            out.u32(0);
            out.u32(kIndependentSample);
        });
    });
}

}  // namespace

void AacMovieBox::write(Mp4BoxWriter& out) const {
    out.box("moov", [&] {
        writeMovieHeader(out);
        writeTrack(out);
        if (shape_ == Shape::fragmented) writeMovieExtends(out);
        AacGaplessInformation(track_, index_).write(out);
    });
}

void AacMovieBox::writeMovieHeader(Mp4BoxWriter& out) const {
    const std::uint8_t version = versionFor(index_.frameCount);
    out.fullBox("mvhd", version, 0, [&] {
        writeUntoldTimes(out, version);
        out.u32(track_.sampleRate);
        out.u32or64(version, index_.frameCount);
        out.u32(kUnity16Dot16);  // rate
        out.u16(kFullVolume8Dot8);
        out.zeros(10);
        writeUnityMatrix(out);
        out.zeros(24);
        out.u32(kTrackId + 1);
    });
}

void AacMovieBox::writeTrack(Mp4BoxWriter& out) const {
    out.box("trak", [&] {
        writeTrackHeader(out);
        writeEditList(out);
        writeMedia(out);
    });
}

void AacMovieBox::writeTrackHeader(Mp4BoxWriter& out) const {
    constexpr std::uint32_t kEnabledInMovieInPreview = 7;
    const std::uint8_t version = versionFor(index_.frameCount);
    out.fullBox("tkhd", version, kEnabledInMovieInPreview, [&] {
        writeUntoldTimes(out, version);
        out.u32(kTrackId);
        out.u32(0);
        out.u32or64(version, index_.frameCount);
        out.zeros(8);
        out.u16(0);  // layer
        out.u16(0);  // alternate group
        out.u16(kFullVolume8Dot8);
        out.u16(0);
        writeUnityMatrix(out);
        out.u32(0);
        out.u32(0);
    });
}

void AacMovieBox::writeEditList(Mp4BoxWriter& out) const {
    const std::uint8_t version = versionFor(index_.frameCount);
    out.box("edts", [&] {
        out.fullBox("elst", version, 0, [&] {
            out.u32(1);
            out.u32or64(version, index_.frameCount);  // 0 in a fragmented file: all there is
            out.u32or64(version, track_.primingFrames);
            out.u32(kUnity16Dot16);
        });
    });
}

void AacMovieBox::writeMedia(Mp4BoxWriter& out) const {
    out.box("mdia", [&] {
        writeMediaHeader(out);
        out.fullBox("hdlr", 0, 0, [&] {
            out.u32(0);
            out.text("soun");
            out.zeros(12);
            out.text(std::string_view("SoundHandler\0", 13));
        });
        writeMediaInformation(out);
    });
}

void AacMovieBox::writeMediaHeader(Mp4BoxWriter& out) const {
    const std::uint64_t mediaFrames =
        index_.packetCount() == 0 ? 0 : track_.primingFrames + index_.frameCount;
    const std::uint8_t version = versionFor(mediaFrames);
    out.fullBox("mdhd", version, 0, [&] {
        writeUntoldTimes(out, version);
        out.u32(track_.sampleRate);
        out.u32or64(version, mediaFrames);
        out.u16(kUndeterminedLanguage);
        out.u16(0);
    });
}

void AacMovieBox::writeMediaInformation(Mp4BoxWriter& out) const {
    out.box("minf", [&] {
        out.fullBox("smhd", 0, 0, [&] { out.u32(0); });
        out.box("dinf", [&] {
            out.fullBox("dref", 0, 0, [&] {
                out.u32(1);
                out.fullBox("url ", 0, 1, [] {});  // the data is in this file
            });
        });
        AacSampleTable(track_, index_).write(out);
    });
}

}  // namespace tapwell
