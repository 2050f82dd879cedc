#include "Tapwell/Control/TapwellMain.h"

#include <exception>

namespace tapwell {

TapwellMain::TapwellMain(Host& host, CreateSpeechProvider createSpeechProvider)
    : streams_(host.streams()),
      events_(host.streams()),
      recorder_({host.audioHardware(), host.converters(), host.assetWriters(), host.files(),
                 host.queues(), host.clock(), host.authorization(), host.environment(),
                 host.streams(), std::move(createSpeechProvider)}) {}

int TapwellMain::main() {
    while (!shutdownRequested_) {
        const StandardStreams::Input input = streams_.readLine();
        if (input.status == StandardStreams::InputStatus::endOfInput) return 0;
        if (input.status == StandardStreams::InputStatus::terminate) break;
        if (const auto command = parseCommand(input.line)) handle(*command);
    }
    stopQuietly();
    return 0;
}

void TapwellMain::handle(const Command& command) {
    if (command.cmd == "start")
        start(command);
    else if (command.cmd == "stop")
        stop();
    else if (command.cmd == "status")
        events_.emitEvent(StatusEvent{recorder_.isRecording() ? "recording" : "idle"});
    else if (command.cmd == "checkPermissions")
        recorder_.permissions().emitPermissionsSnapshot();
    else if (command.cmd == "requestSystemAudioPermission")
        recorder_.permissions().requestSystemAudioPermission();
    else if (command.cmd == "shutdown")
        shutdownRequested_ = true;
    else
        events_.emitEvent(ErrorEvent{kInvalidCommand, "Unknown command: " + command.cmd});
}

void TapwellMain::start(const Command& command) {
    if (!command.outputPath) {
        events_.emitEvent(ErrorEvent{kInvalidCommand, "start requires outputPath"});
        return;
    }
    try {
        recorder_.start(*command.outputPath);
    } catch (const std::exception& error) {
        events_.emitEvent(ErrorEvent{kRecorderStartFailed, error.what()});
    }
}

void TapwellMain::stop() {
    try {
        recorder_.stop();
    } catch (const std::exception& error) {
        events_.emitEvent(ErrorEvent{kRecorderFinalizeFailed, error.what()});
    }
}

/// The parent is not told of a failure here: it has asked for the end, not for the file.
void TapwellMain::stopQuietly() {
    try {
        recorder_.stop();
    } catch (const std::exception&) {
    }
}

}  // namespace tapwell
