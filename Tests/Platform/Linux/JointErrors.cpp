#include "JointErrors.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace tapwell::test {

namespace {

constexpr std::size_t kWindowFrames = 1024;

std::vector<double> windowErrorsDb(std::span<const float> source, std::span<const float> decoded,
                                   std::size_t channels) {
    constexpr double kFloor = 1e-14;
    const std::size_t samplesPerWindow = kWindowFrames * channels;
    std::vector<double> errors;
    for (std::size_t start = 0; start + samplesPerWindow <= source.size();
         start += samplesPerWindow) {
        double sum = 0;
        for (std::size_t i = start; i < start + samplesPerWindow; ++i)
            sum += std::pow(double{source[i]} - decoded[i], 2);
        errors.push_back(10 * std::log10(sum / static_cast<double>(samplesPerWindow) + kFloor));
    }
    return errors;
}

}  // namespace

JointErrors::JointErrors(std::span<const float> source, std::span<const float> decoded,
                         std::size_t channels, std::size_t packetsPerSegment) {
    constexpr std::size_t kReach = 24;
    const std::vector<double> errors = windowErrorsDb(source, decoded, channels);
    // Packet p and the one before it give window p - 1.
    const auto isAtJoint = [&](std::size_t window) {
        return window + 1 >= packetsPerSegment &&
               (window + 1) % packetsPerSegment < kWindowsOfAJoint;
    };
    for (std::size_t window = kReach; window + kReach < errors.size(); ++window) {
        std::vector<double> around;
        for (std::size_t i = window - kReach; i <= window + kReach; ++i)
            if (i != window && !isAtJoint(i)) around.push_back(errors[i]);
        std::ranges::sort(around);
        (isAtJoint(window) ? atJoints_ : elsewhere_)
            .push_back(errors[window] - quantile(around, 0.5));
    }
    std::ranges::sort(atJoints_);
    std::ranges::sort(elsewhere_);
}

double quantile(const std::vector<double>& sorted, double share) {
    return sorted.at(static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1)));
}

double mean(const std::vector<double>& values) {
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

double deviationOfMean(const std::vector<double>& values, std::size_t count) {
    const double center = mean(values);
    double sum = 0;
    for (const double value : values)
        sum += (value - center) * (value - center);
    return std::sqrt(sum / static_cast<double>(values.size()) / static_cast<double>(count));
}

}  // namespace tapwell::test
