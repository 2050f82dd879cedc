import Synchronization

/// Of the system's class, what holds 16-bit and floating-point samples.
public class AVAudioPCMBuffer {
    private static let count = Atomic<Int>(0)
    /// How many there are.
    public static var livingCount: Int { count.load(ordering: .relaxed) }

    public let format: AVAudioFormat
    public let frameCapacity: AVAudioFrameCount
    public var frameLength: AVAudioFrameCount = 0 {
        willSet { precondition(newValue <= frameCapacity, "more frames than the buffer holds") }
    }
    /// Samples from one of a channel to its next.
    public var stride: Int { format.isInterleaved ? Int(format.channelCount) : 1 }
    private let shorts: Channels<Int16>?
    private let floats: Channels<Float>?

    /// One pointer a channel; nil when the samples are not 16-bit.
    public var int16ChannelData: UnsafePointer<UnsafeMutablePointer<Int16>>? { shorts?.pointers }
    /// One pointer a channel; nil when the samples are not 32-bit floating point.
    public var floatChannelData: UnsafePointer<UnsafeMutablePointer<Float>>? { floats?.pointers }

    public init?(pcmFormat format: AVAudioFormat, frameCapacity: AVAudioFrameCount) {
        guard frameCapacity > 0 else { return nil }
        self.format = format
        self.frameCapacity = frameCapacity
        let holds = format.commonFormat
        shorts = holds == .pcmFormatInt16 ? Channels(format, frameCapacity) : nil
        floats = holds == .pcmFormatFloat32 ? Channels(format, frameCapacity) : nil
        Self.count.add(1, ordering: .relaxed)
    }

    deinit {
        Self.count.subtract(1, ordering: .relaxed)
    }
}

/// The samples of a buffer and a pointer to each channel's first: every channel in memory of its own,
/// or all in one.
private final class Channels<Sample> {
    let pointers: UnsafePointer<UnsafeMutablePointer<Sample>>
    private let own: [UnsafeMutablePointer<Sample>]

    init(_ format: AVAudioFormat, _ capacity: AVAudioFrameCount) {
        let count = Int(format.channelCount)
        let frames = Int(capacity)
        let first = UnsafeMutablePointer<UnsafeMutablePointer<Sample>>.allocate(capacity: count)
        if format.isInterleaved {
            own = [.allocate(capacity: count * frames)]
            for channel in 0..<count { (first + channel).initialize(to: own[0] + channel) }
        } else {
            own = (0..<count).map { _ in .allocate(capacity: frames) }
            for channel in 0..<count { (first + channel).initialize(to: own[channel]) }
        }
        pointers = UnsafePointer(first)
    }

    deinit {
        for memory in own { memory.deallocate() }
        pointers.deallocate()
    }
}
