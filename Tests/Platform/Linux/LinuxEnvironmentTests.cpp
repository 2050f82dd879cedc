#include "Platform/Linux/LinuxClock.h"
#include "Platform/Linux/LinuxEnvironment.h"

#include <gtest/gtest.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

namespace tapwell {
namespace {

/// Sets the locale variables for one test; a null value unsets.
void setLocale(const char* all, const char* messages, const char* lang) {
    const std::pair<const char*, const char*> variables[] = {
        {"LC_ALL", all}, {"LC_MESSAGES", messages}, {"LANG", lang}};
    for (const auto& [name, value] : variables) {
        if (value != nullptr)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
}

TEST(LinuxEnvironment, ReadsVariablesAfresh) {
    const LinuxEnvironment environment;
    unsetenv("TAPWELL_TEST_VARIABLE");
    EXPECT_FALSE(environment.value("TAPWELL_TEST_VARIABLE").has_value());
    setenv("TAPWELL_TEST_VARIABLE", "", 1);
    EXPECT_EQ(environment.value("TAPWELL_TEST_VARIABLE"), "");
    setenv("TAPWELL_TEST_VARIABLE", "one", 1);
    EXPECT_EQ(environment.value("TAPWELL_TEST_VARIABLE"), "one");
    unsetenv("TAPWELL_TEST_VARIABLE");
}

TEST(LinuxEnvironment, KnowsItsProcess) {
    EXPECT_EQ(LinuxEnvironment().processID(), getpid());
}

TEST(LinuxEnvironment, TakesTheLocaleFromTheStrongestVariable) {
    const LinuxEnvironment environment;
    setLocale("de_DE.UTF-8", "fr_FR", "it_IT");
    EXPECT_EQ(environment.localeIdentifier(), "de_DE");
    setLocale("", "fr_FR", "it_IT");
    EXPECT_EQ(environment.localeIdentifier(), "fr_FR");
    setLocale(nullptr, nullptr, "sr_RS@latin");
    EXPECT_EQ(environment.localeIdentifier(), "sr_RS");
    setLocale(nullptr, nullptr, "ja");
    EXPECT_EQ(environment.localeIdentifier(), "ja");
}

TEST(LinuxEnvironment, FallsBackToAmericanEnglish) {
    const LinuxEnvironment environment;
    setLocale(nullptr, nullptr, nullptr);
    EXPECT_EQ(environment.localeIdentifier(), "en_US");
    setLocale("C.UTF-8", nullptr, "de_DE");
    EXPECT_EQ(environment.localeIdentifier(), "en_US");
    setLocale(nullptr, "POSIX", nullptr);
    EXPECT_EQ(environment.localeIdentifier(), "en_US");
    setLocale(nullptr, nullptr, ".UTF-8");
    EXPECT_EQ(environment.localeIdentifier(), "en_US");
}

TEST(LinuxClock, CountsNanosecondsOfTheMonotonicClock) {
    const LinuxClock clock;
    EXPECT_EQ(clock.timebase().numerator, 1u);
    EXPECT_EQ(clock.timebase().denominator, 1u);
    timespec before{}, after{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    const std::uint64_t ticks = clock.hostTicks();
    clock_gettime(CLOCK_MONOTONIC, &after);
    const auto nanoseconds = [](const timespec& time) {
        return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000u +
               static_cast<std::uint64_t>(time.tv_nsec);
    };
    EXPECT_GE(ticks, nanoseconds(before));
    EXPECT_LE(ticks, nanoseconds(after));
    EXPECT_DOUBLE_EQ(clock.hostSeconds(1'500'000'000u), 1.5);
}

TEST(LinuxClock, NeverStepsBack) {
    const LinuxClock clock;
    Clock::Date last = clock.now();
    for (int i = 0; i < 100000; ++i) {
        const Clock::Date next = clock.now();
        ASSERT_GE(next, last);
        last = next;
    }
}

}  // namespace
}  // namespace tapwell
