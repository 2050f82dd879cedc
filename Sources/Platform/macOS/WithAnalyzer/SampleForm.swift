import AVFAudio

/// How the samples lie in the buffers that an analyzer is given: 16-bit mono unless the system names
/// another form that can be written.
struct SampleForm: Sendable {
    private var commonFormat = AVAudioCommonFormat.pcmFormatInt16
    private var channelCount: AVAudioChannelCount = 1
    private var isInterleaved = false

    init() {}

    /// That of the format which the system likes best; nil when it is not written here.
    init?(_ best: AVAudioFormat) {
        switch best.commonFormat {
        case .pcmFormatInt16, .pcmFormatFloat32: break
        default: return nil
        }
        // More channels would need to be told apart.
        guard 1...2 ~= best.channelCount else { return nil }
        commonFormat = best.commonFormat
        channelCount = best.channelCount
        isInterleaved = best.isInterleaved
    }

    /// A buffer with `frames` mono samples in every channel; nil for an impossible rate or length.
    func buffer(
        of samples: UnsafePointer<Float>, frames: Int, sampleRate: Double
    ) -> AVAudioPCMBuffer? {
        guard
            let length = AVAudioFrameCount(exactly: frames),
            let format = AVAudioFormat(
                commonFormat: commonFormat, sampleRate: sampleRate, channels: channelCount,
                interleaved: isInterleaved),
            let buffer = AVAudioPCMBuffer(pcmFormat: format, frameCapacity: length)
        else { return nil }
        buffer.frameLength = length
        let mono = UnsafeBufferPointer(start: samples, count: frames)
        if let channels = buffer.int16ChannelData {
            fill(channels, of: buffer, with: mono) { Int16($0 * 32767) }
        } else if let channels = buffer.floatChannelData {
            fill(channels, of: buffer, with: mono) { $0 }
        } else {
            return nil
        }
        return buffer
    }

    private func fill<Sample>(
        _ channels: UnsafePointer<UnsafeMutablePointer<Sample>>, of buffer: AVAudioPCMBuffer,
        with mono: UnsafeBufferPointer<Float>, _ convert: (Float) -> Sample
    ) {
        for channel in 0..<Int(channelCount) {
            for (frame, sample) in mono.enumerated() {
                let limited = sample.isNaN ? 0 : max(-1, min(1, sample))
                channels[channel][frame * buffer.stride] = convert(limited)
            }
        }
    }
}
