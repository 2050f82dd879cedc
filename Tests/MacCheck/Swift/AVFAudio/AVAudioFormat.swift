public typealias AVAudioFrameCount = UInt32
public typealias AVAudioChannelCount = UInt32

public enum AVAudioCommonFormat: UInt {
    case otherFormat = 0
    case pcmFormatFloat32
    case pcmFormatFloat64
    case pcmFormatInt16
    case pcmFormatInt32
}

/// Not Sendable, as the system's need not be.
public class AVAudioFormat {
    public let commonFormat: AVAudioCommonFormat
    public let sampleRate: Double
    public let channelCount: AVAudioChannelCount
    public let isInterleaved: Bool

    public init?(
        commonFormat format: AVAudioCommonFormat, sampleRate: Double, channels: AVAudioChannelCount,
        interleaved: Bool
    ) {
        guard sampleRate > 0, channels > 0 else { return nil }
        commonFormat = format
        self.sampleRate = sampleRate
        channelCount = channels
        isInterleaved = interleaved
    }
}
