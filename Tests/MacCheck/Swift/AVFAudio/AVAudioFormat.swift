public typealias AVAudioFrameCount = UInt32
public typealias AVAudioChannelCount = UInt32

public enum AVAudioCommonFormat: UInt, Sendable {
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

    /// Nil also for more than two channels, which need a layout that this does not name.
    public convenience init?(
        commonFormat format: AVAudioCommonFormat, sampleRate: Double, channels: AVAudioChannelCount,
        interleaved: Bool
    ) {
        guard format != .otherFormat, sampleRate > 0, 1...2 ~= channels else { return nil }
        self.init(unchecked: format, sampleRate, channels, interleaved)
    }

    /// Of the fakes: as the system makes one of its own.
    public init(
        unchecked format: AVAudioCommonFormat, _ sampleRate: Double, _ channels: AVAudioChannelCount,
        _ isInterleaved: Bool
    ) {
        commonFormat = format
        self.sampleRate = sampleRate
        channelCount = channels
        self.isInterleaved = isInterleaved
    }
}
