import Speech
import Synchronization

/// The audio that an analyzer has yet to read, in order, and read once. When it reads too slowly, the
/// oldest goes, half of what may wait at a time: one gap is better understood than many.
@available(macOS 26.0, *)
final class WaitingAudio: AsyncSequence, Sendable {
    /// The recorder keeps half a minute until the analyzer has started, and then sends it at once. As
    /// much again may wait.
    private static let maximumSeconds = 60.0

    private struct State {
        var inputs: [(input: AnalyzerInput, seconds: Double)] = []
        var seconds = 0.0
        var isFinished = false

        mutating func removeOldest() -> AnalyzerInput? {
            guard !inputs.isEmpty else { return nil }
            let oldest = inputs.removeFirst()
            seconds = inputs.isEmpty ? 0 : seconds - oldest.seconds
            return oldest.input
        }
    }

    private let state = Mutex(State())
    /// Rings when there is something to read, and ends with the input.
    private let (bell, ringer) = AsyncStream<Void>.makeStream(bufferingPolicy: .bufferingNewest(1))

    /// Returns whether older audio had to go. Ignored after `finish`.
    func append(_ input: AnalyzerInput, seconds: Double) -> Bool {
        let hasDropped = state.withLock { state in
            guard !state.isFinished else { return false }
            state.inputs.append((input, seconds))
            state.seconds += seconds
            guard state.seconds > Self.maximumSeconds, state.inputs.count > 1 else { return false }
            while state.seconds > Self.maximumSeconds / 2, state.inputs.count > 1 {
                _ = state.removeOldest()
            }
            return true
        }
        ringer.yield()
        return hasDropped
    }

    func finish() {
        state.withLock { $0.isFinished = true }
        ringer.finish()
    }

    func makeAsyncIterator() -> Iterator {
        Iterator(audio: self, bell: bell.makeAsyncIterator())
    }

    struct Iterator: AsyncIteratorProtocol {
        fileprivate let audio: WaitingAudio
        fileprivate var bell: AsyncStream<Void>.Iterator

        mutating func next() async -> AnalyzerInput? {
            while true {
                if let input = audio.state.withLock({ $0.removeOldest() }) { return input }
                // What came before the end is read to the end.
                if await bell.next() == nil { return audio.state.withLock { $0.removeOldest() } }
            }
        }
    }
}
