#include <benchmark/benchmark.h>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include "Platform/Linux/SoxrSampleRateConverterFactory.h"
#include "Platform/Posix/PosixStandardStreams.h"
#include "RecorderMixBus/MixMath.h"
#include "RecorderMixBus/StereoMergeMath.h"
#include "Tapwell/MixBus/PCMToMixBusConverter.h"

#include <cmath>
#include <vector>

// Every benchmark counts input samples of one stream, so rates compare across rows. The peer of the
// mix is the same arithmetic written as a plain loop over buffers that exist already; the peer of
// the converter is libswresample, which ffmpeg's pipelines use, in its default quality.

namespace tapwell {
namespace {

constexpr std::size_t kFrame = 1024;

std::vector<float> tone(std::size_t count, double cyclesPerSample) {
    std::vector<float> samples(count);
    for (std::size_t i = 0; i < count; ++i)
        samples[i] =
            static_cast<float>(0.4 * std::sin(2 * M_PI * cyclesPerSample * static_cast<double>(i)));
    return samples;
}

void countSamples(benchmark::State& state, std::size_t samplesEach) {
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(samplesEach));
}

void mixMono(benchmark::State& state) {
    const auto system = tone(kFrame, 0.01);
    const auto mic = tone(kFrame, 0.013);
    for (auto _ : state)
        benchmark::DoNotOptimize(MixMath::equalWeightMixAndClipWithMicPreamp(system, mic, 6.0F));
    countSamples(state, kFrame);
}
BENCHMARK(mixMono);

void mixMonoPlainLoop(benchmark::State& state) {
    const auto system = tone(kFrame, 0.01);
    const auto mic = tone(kFrame, 0.013);
    std::vector<float> out(kFrame);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kFrame; ++i) {
            const float boosted = std::fmin(std::fmax(mic[i] * 6.0F, -1.0F), 1.0F);
            out[i] = std::fmin(std::fmax(system[i] * 0.5F + boosted * 0.5F, -1.0F), 1.0F);
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    countSamples(state, kFrame);
}
BENCHMARK(mixMonoPlainLoop);

void interleaveStereo(benchmark::State& state) {
    const auto system = tone(kFrame, 0.01);
    const auto mic = tone(kFrame, 0.013);
    for (auto _ : state)
        benchmark::DoNotOptimize(
            StereoMergeMath::interleaveStereoLRWithMicPreamp(system, mic, 6.0F));
    countSamples(state, kFrame);
}
BENCHMARK(interleaveStereo);

PcmBuffer monoBuffer(double rate, const std::vector<float>& samples) {
    auto buffer =
        *PcmBuffer::withCapacity(*AudioFormat::make(CommonFormat::pcmFloat32, rate, 1, false),
                                 static_cast<std::uint32_t>(samples.size()));
    buffer.setFrameLength(static_cast<std::uint32_t>(samples.size()));
    std::uint32_t stride = 0;
    std::copy(samples.begin(), samples.end(), buffer.channel<float>(0, stride));
    return buffer;
}

/// state.range(0): source rate in Hz; state.range(1): how far, in Hz, the measured rate is off.
void convert(benchmark::State& state) {
    PosixStandardStreams streams;
    SoxrSampleRateConverterFactory factory;
    PCMToMixBusConverter converter(48000, factory, Log(streams, "benchmark"));
    const auto rate = static_cast<double>(state.range(0));
    const double hint = rate + static_cast<double>(state.range(1));
    const auto buffer = monoBuffer(rate, tone(kFrame, 0.01));
    for (auto _ : state)
        benchmark::DoNotOptimize(converter.convert(buffer, MediaTime::zero(), hint));
    countSamples(state, kFrame);
}
BENCHMARK(convert)
    ->ArgNames({"from", "off"})
    ->Args({48000, 0})
    ->Args({48000, 2})
    ->Args({44100, 0})
    ->Args({44100, 2})
    ->Args({16000, 0});

void convertLibswresample(benchmark::State& state) {
    SwrContext* context = swr_alloc();
    AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
    av_opt_set_chlayout(context, "in_chlayout", &mono, 0);
    av_opt_set_chlayout(context, "out_chlayout", &mono, 0);
    av_opt_set_int(context, "in_sample_rate", state.range(0), 0);
    av_opt_set_int(context, "out_sample_rate", 48000, 0);
    av_opt_set_sample_fmt(context, "in_sample_fmt", AV_SAMPLE_FMT_FLT, 0);
    av_opt_set_sample_fmt(context, "out_sample_fmt", AV_SAMPLE_FMT_FLT, 0);
    if (swr_init(context) < 0) state.SkipWithError("swr_init failed");
    const auto input = tone(kFrame, 0.01);
    std::vector<float> output(kFrame * 8);
    for (auto _ : state) {
        const auto* in = reinterpret_cast<const std::uint8_t*>(input.data());
        auto* out = reinterpret_cast<std::uint8_t*>(output.data());
        benchmark::DoNotOptimize(swr_convert(context, &out, static_cast<int>(output.size()), &in,
                                             static_cast<int>(kFrame)));
    }
    countSamples(state, kFrame);
    swr_free(&context);
}
BENCHMARK(convertLibswresample)->ArgNames({"from"})->Args({44100})->Args({16000});

}  // namespace
}  // namespace tapwell
