import Foundation

/// Its results are what a test says, to all transcribers that there are.
@available(macOS 26.0, *)
public final class SpeechTranscriber: SpeechModule {
    public struct Preset: Sendable, Equatable {
        let name: String
        public static let transcription = Preset(name: "transcription")
        public static let progressiveTranscription = Preset(name: "progressiveTranscription")
        public static let timeIndexedProgressiveTranscription = Preset(
            name: "timeIndexedProgressiveTranscription")
    }

    public struct Result: Sendable {
        public let text: AttributedString
        public let isFinal: Bool
    }

    private let stream: AsyncThrowingStream<Result, any Error>
    private let continuation: AsyncThrowingStream<Result, any Error>.Continuation
    private let living = Living()

    public init(locale: Locale, preset: Preset) {
        (stream, continuation) = AsyncThrowingStream<Result, any Error>.makeStream()
        FakeSpeech.shared.called("transcriber \(locale.identifier) \(preset.name)")
        FakeSpeech.shared.transcriber = self
    }

    public static func supportedLocale(equivalentTo locale: Locale) async -> Locale? {
        await Task.yield()
        return FakeSpeech.shared.supportedLocales.contains(locale.identifier) ? locale : nil
    }

    public var results: some Sendable & AsyncSequence<Result, any Error> { stream }

    func say(_ text: String, isFinal: Bool) {
        continuation.yield(Result(text: AttributedString(text), isFinal: isFinal))
    }

    func endResults(throwing error: (any Error)? = nil) {
        continuation.finish(throwing: error)
    }
}
