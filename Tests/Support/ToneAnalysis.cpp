#include "Support/ToneAnalysis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <utility>

namespace tapwell::test {
namespace {

constexpr double kTwoPi = 2 * std::numbers::pi;
constexpr int kFrequencyRefinements = 4;

double cycleAngle(double cyclesPerSample, std::size_t index) {
    const double cycles = cyclesPerSample * static_cast<double>(index);
    return kTwoPi * (cycles - std::floor(cycles));
}

/// Solves the normal equations of a linear least-squares fit by elimination with pivoting.
template <std::size_t N>
class LeastSquares {
public:
    void add(const std::array<double, N>& basis, double value) {
        for (std::size_t row = 0; row < N; ++row) {
            for (std::size_t column = 0; column < N; ++column)
                matrix_[row][column] += basis[row] * basis[column];
            matrix_[row][N] += basis[row] * value;
        }
    }
    std::array<double, N> solve() {
        std::array<double, N> solution{};
        for (std::size_t pivot = 0; pivot < N; ++pivot)
            eliminate(pivot);
        for (std::size_t row = 0; row < N; ++row)
            solution[row] = matrix_[row][N] / matrix_[row][row];
        return solution;
    }

private:
    void eliminate(std::size_t pivot) {
        std::size_t best = pivot;
        for (std::size_t row = pivot; row < N; ++row)
            if (std::abs(matrix_[row][pivot]) > std::abs(matrix_[best][pivot])) best = row;
        std::swap(matrix_[pivot], matrix_[best]);
        for (std::size_t row = 0; row < N; ++row) {
            if (row == pivot) continue;
            const double factor = matrix_[row][pivot] / matrix_[pivot][pivot];
            for (std::size_t column = pivot; column <= N; ++column)
                matrix_[row][column] -= factor * matrix_[pivot][column];
        }
    }

    std::array<std::array<double, N + 1>, N> matrix_{};
};

/// One Gauss-Newton step towards the frequency of the tone in `samples`.
double refineFrequency(std::span<const float> samples, double cyclesPerSample) {
    const ToneFit fit = fitTone(samples, cyclesPerSample);
    const double middle = static_cast<double>(samples.size()) / 2;
    LeastSquares<4> squares;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double angle = cycleAngle(cyclesPerSample, i);
        const double slope = fit.amplitude * std::cos(angle + fit.phaseRadians) * kTwoPi;
        squares.add({std::sin(angle), std::cos(angle), 1.0,
                     slope * (static_cast<double>(i) - middle) / middle},
                    samples[i]);
    }
    return cyclesPerSample + squares.solve()[3] / middle;
}

}  // namespace

std::vector<float> makeTone(double cyclesPerSample, std::size_t count, double amplitude,
                            double phaseRadians) {
    std::vector<float> samples(count);
    for (std::size_t i = 0; i < count; ++i)
        samples[i] =
            static_cast<float>(amplitude * std::sin(cycleAngle(cyclesPerSample, i) + phaseRadians));
    return samples;
}

double ToneFit::thdPlusNoiseDb() const {
    return 20 * std::log10(residualRms / (amplitude / std::numbers::sqrt2));
}

ToneFit fitTone(std::span<const float> samples, double cyclesPerSample) {
    LeastSquares<3> squares;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double angle = cycleAngle(cyclesPerSample, i);
        squares.add({std::sin(angle), std::cos(angle), 1.0}, samples[i]);
    }
    const auto [sine, cosine, offset] = squares.solve();
    ToneFit fit{std::hypot(sine, cosine), std::atan2(cosine, sine), offset, 0, 0};
    double energy = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double angle = cycleAngle(cyclesPerSample, i);
        const double residual =
            samples[i] - (sine * std::sin(angle) + cosine * std::cos(angle) + offset);
        energy += residual * residual;
        fit.residualPeak = std::max(fit.residualPeak, std::abs(residual));
    }
    fit.residualRms = std::sqrt(energy / static_cast<double>(samples.size()));
    return fit;
}

double worstToneBreakDb(std::span<const float> samples, double cyclesPerSample,
                        std::size_t windowSamples) {
    double worst = 0;
    for (std::size_t begin = 0; begin + windowSamples <= samples.size();
         begin += windowSamples / 2) {
        const auto window = samples.subspan(begin, windowSamples);
        double frequency = cyclesPerSample;
        for (int i = 0; i < kFrequencyRefinements; ++i)
            frequency = refineFrequency(window, frequency);
        const ToneFit fit = fitTone(window, frequency);
        worst = std::max(worst, fit.residualPeak / fit.amplitude);
    }
    return 20 * std::log10(worst);
}

}  // namespace tapwell::test
