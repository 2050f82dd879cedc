import Synchronization

/// Of the system's class, what holds 16-bit samples.
public class AVAudioPCMBuffer {
    private static let count = Atomic<Int>(0)
    /// How many there are.
    public static var livingCount: Int { count.load(ordering: .relaxed) }

    public let format: AVAudioFormat
    public let frameCapacity: AVAudioFrameCount
    public var frameLength: AVAudioFrameCount = 0 {
        willSet { precondition(newValue <= frameCapacity, "more frames than the buffer holds") }
    }
    /// One pointer a channel; nil when the samples are not 16-bit.
    public let int16ChannelData: UnsafePointer<UnsafeMutablePointer<Int16>>?

    public init?(pcmFormat format: AVAudioFormat, frameCapacity: AVAudioFrameCount) {
        guard frameCapacity > 0 else { return nil }
        self.format = format
        self.frameCapacity = frameCapacity
        Self.count.add(1, ordering: .relaxed)
        guard format.commonFormat == .pcmFormatInt16, !format.isInterleaved else {
            int16ChannelData = nil
            return
        }
        let channels = UnsafeMutablePointer<UnsafeMutablePointer<Int16>>.allocate(
            capacity: Int(format.channelCount))
        for channel in 0..<Int(format.channelCount) {
            channels[channel] = .allocate(capacity: Int(frameCapacity))
        }
        int16ChannelData = UnsafePointer(channels)
    }

    deinit {
        Self.count.subtract(1, ordering: .relaxed)
        guard let channels = int16ChannelData else { return }
        for channel in 0..<Int(format.channelCount) { channels[channel].deallocate() }
        channels.deallocate()
    }
}
