#include "Support/MultiToneFit.h"

#include <cmath>
#include <numbers>

namespace tapwell::test {
namespace {

using std::numbers::pi;

/// Solves a symmetric positive definite system in place by Gaussian elimination.
std::vector<double> solve(std::vector<std::vector<double>> matrix, std::vector<double> right) {
    const std::size_t size = right.size();
    for (std::size_t pivot = 0; pivot < size; ++pivot) {
        for (std::size_t row = pivot + 1; row < size; ++row) {
            const double factor = matrix[row][pivot] / matrix[pivot][pivot];
            for (std::size_t column = pivot; column < size; ++column) {
                matrix[row][column] -= factor * matrix[pivot][column];
            }
            right[row] -= factor * right[pivot];
        }
    }
    for (std::size_t row = size; row-- > 0;) {
        for (std::size_t column = row + 1; column < size; ++column) {
            right[row] -= matrix[row][column] * right[column];
        }
        right[row] /= matrix[row][row];
    }
    return right;
}

/// The constant, and cosine and sine of each frequency, at one sample.
void fillBasis(std::vector<double>& values, std::size_t index, double sampleRate,
               std::span<const double> frequenciesHz) {
    values.assign(1, 1.0);
    for (const double frequency : frequenciesHz) {
        const double angle = 2 * pi * frequency * static_cast<double>(index) / sampleRate;
        values.push_back(std::cos(angle));
        values.push_back(std::sin(angle));
    }
}

}  // namespace

MultiToneFit MultiToneFit::of(std::span<const float> samples, double sampleRate,
                              std::span<const double> frequenciesHz) {
    const std::size_t size = 1 + 2 * frequenciesHz.size();
    std::vector<std::vector<double>> matrix(size, std::vector<double>(size, 0.0));
    std::vector<double> right(size, 0.0);
    std::vector<double> values;
    for (std::size_t index = 0; index < samples.size(); ++index) {
        fillBasis(values, index, sampleRate, frequenciesHz);
        for (std::size_t row = 0; row < size; ++row) {
            right[row] += values[row] * static_cast<double>(samples[index]);
            for (std::size_t column = 0; column < size; ++column) {
                matrix[row][column] += values[row] * values[column];
            }
        }
    }
    const std::vector<double> weights = solve(matrix, right);

    MultiToneFit fit;
    for (std::size_t tone = 0; tone < frequenciesHz.size(); ++tone) {
        const double cosine = weights[1 + 2 * tone];
        const double sine = weights[2 + 2 * tone];
        fit.amplitudes.push_back(std::hypot(cosine, sine));
        fit.phasesRadians.push_back(std::atan2(cosine, sine));
    }
    double squares = 0;
    for (std::size_t index = 0; index < samples.size(); ++index) {
        fillBasis(values, index, sampleRate, frequenciesHz);
        double rest = static_cast<double>(samples[index]);
        for (std::size_t row = 0; row < size; ++row)
            rest -= weights[row] * values[row];
        squares += rest * rest;
    }
    fit.residualRms = std::sqrt(squares / static_cast<double>(samples.size()));
    return fit;
}

double measuredFrequencyHz(std::span<const float> samples, double sampleRate, double guessHz) {
    const std::size_t window = static_cast<std::size_t>(sampleRate / 20);
    const double windowSeconds = static_cast<double>(window) / sampleRate;
    const double expectedAdvance = 2 * pi * guessHz * windowSeconds;
    double drift = 0;
    std::size_t steps = 0;
    double previousPhase = 0;
    for (std::size_t first = 0; first + window <= samples.size(); first += window) {
        const MultiToneFit fit =
            MultiToneFit::of(samples.subspan(first, window), sampleRate, std::span(&guessHz, 1));
        const double phase = fit.phasesRadians[0];
        if (first > 0) {
            drift += std::remainder(phase - previousPhase - expectedAdvance, 2 * pi);
            ++steps;
        }
        previousPhase = phase;
    }
    return guessHz + drift / (2 * pi * windowSeconds * static_cast<double>(steps));
}

std::vector<double> windowResiduals(std::span<const float> samples, double sampleRate,
                                    double frequencyHz, std::size_t windowSize) {
    std::vector<double> residuals;
    for (std::size_t first = 0; first + windowSize <= samples.size(); first += windowSize) {
        residuals.push_back(MultiToneFit::of(samples.subspan(first, windowSize), sampleRate,
                                             std::span(&frequencyHz, 1))
                                .residualRms);
    }
    return residuals;
}

}  // namespace tapwell::test
