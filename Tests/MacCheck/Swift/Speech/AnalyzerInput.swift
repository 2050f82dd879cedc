import AVFAudio
import CoreMedia

@available(macOS 26.0, *)
public struct AnalyzerInput: @unchecked Sendable {
    public let buffer: AVAudioPCMBuffer
    public let bufferStartTime: CMTime?

    public init(buffer: AVAudioPCMBuffer) {
        self.init(buffer: buffer, bufferStartTime: nil)
    }

    public init(buffer: AVAudioPCMBuffer, bufferStartTime: CMTime?) {
        self.buffer = buffer
        self.bufferStartTime = bufferStartTime
    }
}
