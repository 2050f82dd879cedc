#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tapwell::test {

/// How far decoded sound is from its source around the joints between segments, and elsewhere.
class JointErrors {
public:
    /// Windows that a joint can reach: the one in which the packets on both sides overlap, and
    /// those after it in which the encoder may still settle.
    static constexpr std::size_t kWindowsOfAJoint = 4;

    /// Compares interleaved samples in windows of one packet; joints are before every
    /// `packetsPerSegment`-th packet.
    JointErrors(std::span<const float> source, std::span<const float> decoded, std::size_t channels,
                std::size_t packetsPerSegment);

    /// Error of each window in dB, a mean square of 1 being 0, minus the median of the windows
    /// around it that are at no joint; sorted. The signals change slowly, and so do their errors.
    const std::vector<double>& atJoints() const { return atJoints_; }
    const std::vector<double>& elsewhere() const { return elsewhere_; }

private:
    std::vector<double> atJoints_;
    std::vector<double> elsewhere_;
};

/// Of sorted values, the one that a share of them does not exceed.
double quantile(const std::vector<double>& sorted, double share);
double mean(const std::vector<double>& values);
/// The standard deviation of the mean of `count` values that are drawn from `values`.
double deviationOfMean(const std::vector<double>& values, std::size_t count);

}  // namespace tapwell::test
