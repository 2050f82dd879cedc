#pragma once

#include <CoreAudio/CoreAudio.h>

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace maccheck {

/// The system below the macOS host: link-time fakes of its functions, and classes of the same names
/// as its own, keep their state here. They log every call that does something, fail where a test
/// says so, and count what nobody released. One test at a time, one thread.
class FakeSystem {
public:
    using Value = std::variant<std::uint32_t, double, AudioStreamBasicDescription, std::string>;

    static FakeSystem& get();
    /// As at the start of a process. What is left of the last test stays counted in its own
    /// expectations.
    void reset();

    // What a test sets.
    /// By the name of the function, as it is logged, with or without its details.
    std::map<std::string, OSStatus> failures;
    std::map<std::pair<AudioObjectID, UInt32>, Value> properties;
    std::map<std::string, bool> defaults;  ///< also read
    std::string locale = "en_US";          ///< the user's
    long microphoneStatus = 0;             ///< raw, as the system numbers it
    bool grantsMicrophone = false;
    long speechStatus = 0;  ///< raw; 0 until the user was asked
    long speechAnswer = 3;  ///< what the user says when asked
    bool recognizerIsAvailable = true;
    bool recognizerIsOnDevice = true;

    // What a test reads.
    /// Function, with the object's id or what else was given: "-[Class method:] details".
    std::vector<std::string> calls;
    int speechPrompts = 0;
    std::vector<std::string> violations;  ///< rules of the system that a call broke
    std::vector<std::byte> lastQualifier;
    std::string lastAggregate;  ///< the description as text
    std::string lastTap;        ///< the description as text
    /// References of Core Foundation, Core Media and libdispatch, and objects of Objective-C.
    int liveObjects = 0;
    std::size_t listenerCount() const { return listeners.size(); }
    std::size_t procedureCount() const { return procedures.size(); }
    std::size_t deviceCount() const { return taps.size() + aggregates.size(); }
    bool isClean() const {
        return liveObjects == 0 && listeners.empty() && procedures.empty() && taps.empty() &&
               aggregates.empty() && work.empty() && violations.empty();
    }

    /// Submits a change to every listener of the property, with one that nobody asked for.
    void change(AudioObjectID object, UInt32 selector);
    /// One I/O cycle of every running procedure, on the calling thread as if it were the queue.
    void cycle(const AudioBufferList& input, const AudioTimeStamp& inputTime);
    /// Runs what was submitted to queues, also for later, in the order of submission.
    void drain();

    // For the fakes.
    struct Listener {
        AudioObjectID object;
        AudioObjectPropertyAddress address;
        dispatch_queue_t queue;
        AudioObjectPropertyListenerBlock given;
        AudioObjectPropertyListenerBlock copy;
    };
    struct Procedure {
        AudioObjectID device;
        dispatch_queue_t queue;
        AudioDeviceIOBlock copy;
        bool isRunning;
    };
    struct Work {
        dispatch_queue_t queue;
        void* context;
        dispatch_function_t function;
    };

    /// Logs the call; the status that it is to fail with, or noErr.
    OSStatus called(const std::string& function, AudioObjectID object = 0);
    OSStatus called(const std::string& function, const std::string& details);
    void violated(const std::string& rule) { violations.push_back(rule); }

    std::vector<Listener> listeners;
    std::map<std::size_t, Procedure> procedures;
    std::set<AudioObjectID> taps;
    std::set<AudioObjectID> aggregates;
    std::vector<Work> work;
    dispatch_queue_t runningQueue = nullptr;  ///< whose work `drain` runs
    AudioObjectID lastObject = 100;
    std::size_t lastProcedure = 0;
};

}  // namespace maccheck
