import AVFAudio

/// Listens until its input ends; hears what FakeSpeech then knows.
@available(macOS 26.0, *)
public actor SpeechAnalyzer {
    public struct Options: Sendable {}

    private let modules: [any SpeechModule]
    private var listening: Task<Void, Never>?
    private var isFinished = false
    private let living = Living()

    public init(modules: [any SpeechModule], options: Options? = nil) {
        self.modules = modules
        FakeSpeech.shared.called("analyzer of \(modules.count)")
    }

    public static func bestAvailableAudioFormat(
        compatibleWith modules: [any SpeechModule]
    ) async -> AVAudioFormat? {
        await Task.yield()
        return AVAudioFormat(
            commonFormat: .pcmFormatInt16, sampleRate: FakeSpeech.shared.bestSampleRate, channels: 1,
            interleaved: true)
    }

    /// Returns at once.
    public func start<InputSequence: Sendable & AsyncSequence>(
        inputSequence: InputSequence
    ) async throws where InputSequence.Element == AnalyzerInput {
        FakeSpeech.shared.called("start")
        try FakeSpeech.shared.throwFailure(of: "start")
        guard !isFinished else { throw FakeSpeechError(text: "started when finished") }
        listening = Task {
            do {
                for try await input in inputSequence { FakeSpeech.shared.hear(input) }
                if !Task.isCancelled { FakeSpeech.shared.called("end of input") }
            } catch {
                FakeSpeech.shared.called("broken input")
            }
        }
    }

    /// Waits for the end of the input, and says once more what was said last, as final.
    public func finalizeAndFinishThroughEndOfInput() async throws {
        FakeSpeech.shared.called("finalize")
        try FakeSpeech.shared.throwFailure(of: "finalize")
        await listening?.value
        guard !isFinished else { throw FakeSpeechError(text: "finalized when finished") }
        for case let transcriber as SpeechTranscriber in modules {
            transcriber.say("the end", isFinal: true)
        }
        finish(throwing: nil)
        FakeSpeech.shared.called("finished")
    }

    public func cancelAndFinishNow() async {
        FakeSpeech.shared.called("cancel")
        listening?.cancel()
        // A failing one leaves the results open.
        guard (try? FakeSpeech.shared.throwFailure(of: "cancel")) != nil else { return }
        finish(throwing: CancellationError())
    }

    private func finish(throwing error: (any Error)?) {
        guard !isFinished else { return }
        isFinished = true
        for case let transcriber as SpeechTranscriber in modules {
            transcriber.endResults(throwing: error)
        }
    }
}
