// How far an encoded mix is from its source:
//   encode-quality SYSTEM.wav MIC.wav mono|stereo halved|added < decoded.f32
//
// `decoded.f32`: 32-bit floats, interleaved. The source's mono mix is (system + microphone), each
// halved, or added as they are; its stereo is left = microphone, right = system. One line, for each
// channel: level in dB relative to the source, samples at or beyond full scale, segmental
// signal-to-noise ratio and log-spectral distance from 0 to 8 kHz in dB, and frames compared.

#include "Tapwell/Outputs/MonoPcm16WavReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <span>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kWindow = 1024;
constexpr double kRateHz = 48000;
constexpr double kHighestHz = 8000;
/// Below this a window says nothing of an encoder.
constexpr double kSilenceRms = 1e-3;
/// Of a bin, so that nothing is not infinitely far from little.
constexpr double kPowerFloor = 1e-7;

using Spectrum = std::array<std::complex<double>, kWindow>;

/// In place, by decimation in time.
void transform(Spectrum& values) {
    for (std::size_t i = 1, j = 0; i < kWindow; ++i) {
        std::size_t bit = kWindow / 2;
        for (; (j & bit) != 0; bit /= 2)
            j ^= bit;
        j ^= bit;
        if (i < j) std::swap(values[i], values[j]);
    }
    for (std::size_t length = 2; length <= kWindow; length *= 2) {
        const auto step = std::polar(1.0, -2 * std::numbers::pi / static_cast<double>(length));
        for (std::size_t start = 0; start < kWindow; start += length) {
            std::complex<double> turn = 1;
            for (std::size_t i = start; i < start + length / 2; ++i) {
                const auto odd = values[i + length / 2] * turn;
                values[i + length / 2] = values[i] - odd;
                values[i] += odd;
                turn *= step;
            }
        }
    }
}

std::vector<double> powers(std::span<const float> samples) {
    Spectrum values;
    for (std::size_t i = 0; i < kWindow; ++i) {
        const double phase = 2 * std::numbers::pi * static_cast<double>(i) / kWindow;
        values[i] = static_cast<double>(samples[i]) * (0.5 - 0.5 * std::cos(phase));
    }
    transform(values);
    std::vector<double> result(static_cast<std::size_t>(kWindow * kHighestHz / kRateHz));
    for (std::size_t i = 0; i < result.size(); ++i)
        result[i] = std::norm(values[i]) / kWindow + kPowerFloor;
    return result;
}

/// Sums over the windows of one channel.
struct Comparison {
    double sourceEnergy = 0;
    double decodedEnergy = 0;
    std::int64_t fullScale = 0;
    double signalToNoise = 0;
    double spectralDistance = 0;
    std::int64_t windows = 0;
    std::int64_t soundingWindows = 0;

    void add(std::span<const float> source, std::span<const float> decoded) {
        double energy = 0;
        double noise = 0;
        for (std::size_t i = 0; i < kWindow; ++i) {
            const double s = source[i];
            const double d = decoded[i];
            energy += s * s;
            noise += (s - d) * (s - d);
            decodedEnergy += d * d;
            if (std::abs(d) >= 1) ++fullScale;
        }
        sourceEnergy += energy;
        ++windows;
        if (std::sqrt(energy / kWindow) < kSilenceRms) return;
        ++soundingWindows;
        signalToNoise += std::clamp(10 * std::log10(energy / std::max(noise, 1e-12)), -10.0, 60.0);
        const auto a = powers(source);
        const auto b = powers(decoded);
        double squares = 0;
        for (std::size_t i = 0; i < a.size(); ++i)
            squares += std::pow(10 * std::log10(a[i] / b[i]), 2);
        spectralDistance += std::sqrt(squares / static_cast<double>(a.size()));
    }

    void print() const {
        const double sounding = static_cast<double>(std::max<std::int64_t>(soundingWindows, 1));
        std::printf(
            "level %.3f dB  full-scale %lld  segmental-snr %.2f dB  spectral-distance %.2f "
            "dB  frames %lld\n",
            10 * std::log10(decodedEnergy / sourceEnergy), static_cast<long long>(fullScale),
            signalToNoise / sounding, spectralDistance / sounding,
            static_cast<long long>(windows * static_cast<std::int64_t>(kWindow)));
    }
};

struct Source {
    tapwell::MonoPcm16WavReader system;
    tapwell::MonoPcm16WavReader mic;
    bool isStereo;
    float weight;

    std::int64_t frames() const { return std::min(system.frameCount(), mic.frameCount()); }

    std::vector<std::vector<float>> window(std::int64_t from) {
        const auto systemSamples = system.readFrames(from, kWindow);
        const auto micSamples = mic.readFrames(from, kWindow);
        std::vector<std::vector<float>> channels(isStereo ? 2 : 1, std::vector<float>(kWindow));
        for (std::size_t i = 0; i < kWindow; ++i) {
            const float s = static_cast<float>(systemSamples[i]) / 32767.0F;
            const float m = static_cast<float>(micSamples[i]) / 32767.0F;
            if (isStereo) {
                channels[0][i] = m;
                channels[1][i] = s;
            } else {
                channels[0][i] = std::clamp((s + m) * weight, -1.0F, 1.0F);
            }
        }
        return channels;
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "encode-quality SYSTEM.wav MIC.wav mono|stereo halved|added < f32\n");
        return 2;
    }
    Source source{tapwell::MonoPcm16WavReader(argv[1]), tapwell::MonoPcm16WavReader(argv[2]),
                  std::string(argv[3]) == "stereo", std::string(argv[4]) == "added" ? 1.0F : 0.5F};
    const std::size_t channels = source.isStereo ? 2 : 1;
    std::vector<Comparison> comparisons(channels);
    std::vector<float> interleaved(kWindow * channels);
    std::vector<float> decoded(kWindow);
    for (std::int64_t from = 0; from + static_cast<std::int64_t>(kWindow) <= source.frames();
         from += kWindow) {
        if (std::fread(interleaved.data(), sizeof(float), interleaved.size(), stdin) !=
            interleaved.size())
            break;
        const auto window = source.window(from);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            for (std::size_t i = 0; i < kWindow; ++i)
                decoded[i] = interleaved[i * channels + channel];
            comparisons[channel].add(window[channel], decoded);
        }
    }
    for (const Comparison& comparison : comparisons)
        comparison.print();
    return 0;
}
