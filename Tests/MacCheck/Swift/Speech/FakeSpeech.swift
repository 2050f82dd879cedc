import AVFAudio
import Foundation

/// The system below the bridge: does what a test says and remembers what it was asked. Any thread.
@available(macOS 26.0, *)
@dynamicMemberLookup
final class FakeSpeech: @unchecked Sendable {
    struct State {
        var supportedLocales: Set<String> = []
        var status = AssetInventory.Status.unsupported
        var bestFormat: (@Sendable () -> AVAudioFormat)?
        var failures: [String: String] = [:]
        var calls: [String] = []
        var heard: [Double] = []
        var heardForms: [String] = []
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
        let format = buffer.format
        let samples =
            samples(buffer, buffer.int16ChannelData) { Double($0) }
            + samples(buffer, buffer.floatChannelData) { Double($0) }
        let kind = buffer.int16ChannelData == nil ? "float32" : "int16"
        lock.withLock {
            state.calls.append("heard \(buffer.frameLength) at \(Int(format.sampleRate))")
            state.heard += samples
            state.heardForms.append(
                "\(kind) x\(format.channelCount)" + (format.isInterleaved ? " interleaved" : ""))
        }
    }

    private func samples<Sample>(
        _ buffer: AVAudioPCMBuffer, _ channels: UnsafePointer<UnsafeMutablePointer<Sample>>?,
        _ number: (Sample) -> Double
    ) -> [Double] {
        guard let channels else { return [] }
        return (0..<Int(buffer.frameLength)).flatMap { frame in
            (0..<Int(buffer.format.channelCount)).map { channel in
                number(channels[channel][frame * buffer.stride])
            }
        }
    }
}

struct FakeSpeechError: Error, CustomStringConvertible {
    let text: String
    var description: String { text }
}
