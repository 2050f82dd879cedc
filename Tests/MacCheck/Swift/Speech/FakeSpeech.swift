import AVFAudio
import Foundation

/// The system below the bridge: does what a test says and remembers what it was asked. Any thread.
@available(macOS 26.0, *)
@dynamicMemberLookup
final class FakeSpeech: @unchecked Sendable {
    struct State {
        var supportedLocales: Set<String> = []
        var status = AssetInventory.Status.unsupported
        var bestSampleRate = 0.0
        var failures: [String: String] = [:]
        var calls: [String] = []
        var heard: [Int16] = []
        weak var transcriber: SpeechTranscriber?
    }

    static let shared = FakeSpeech()

    private let lock = NSLock()
    private var state = State()

    subscript<Value>(dynamicMember member: WritableKeyPath<State, Value>) -> Value {
        get { lock.withLock { state[keyPath: member] } }
        set { lock.withLock { state[keyPath: member] = newValue } }
    }

    func reset() {
        lock.withLock { state = State() }
    }

    func called(_ call: String) {
        lock.withLock { state.calls.append(call) }
    }

    func throwFailure(of call: String) throws {
        if let text = lock.withLock({ state.failures[call] }) { throw FakeSpeechError(text: text) }
    }

    func hear(_ input: AnalyzerInput) {
        let buffer = input.buffer
        let frames = Int(buffer.frameLength)
        let samples = UnsafeBufferPointer(start: buffer.int16ChannelData?[0], count: frames)
        lock.withLock {
            state.calls.append("heard \(frames) at \(Int(buffer.format.sampleRate))")
            state.heard += samples
        }
    }
}

struct FakeSpeechError: Error, CustomStringConvertible {
    let text: String
    var description: String { text }
}
