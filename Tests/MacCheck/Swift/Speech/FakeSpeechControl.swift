// The functions of FakeSpeech.h.

import AVFAudio

@available(macOS 26.0, *)
@_cdecl("fakeSpeechReset")
public func fakeSpeechReset() {
    FakeSpeech.shared.reset()
}

@available(macOS 26.0, *)
@_cdecl("fakeSpeechSupportLocale")
public func fakeSpeechSupportLocale(_ locale: UnsafePointer<CChar>) {
    FakeSpeech.shared.supportedLocales.insert(String(cString: locale))
}

@available(macOS 26.0, *)
@_cdecl("fakeSpeechSetStatus")
public func fakeSpeechSetStatus(_ status: Int32) {
    FakeSpeech.shared.status = AssetInventory.Status(rawValue: Int(status))!
}

@available(macOS 26.0, *)
@_cdecl("fakeSpeechSetBestSampleRate")
public func fakeSpeechSetBestSampleRate(_ sampleRate: Double) {
    FakeSpeech.shared.bestSampleRate = sampleRate
}

@available(macOS 26.0, *)
@_cdecl("fakeSpeechFail")
public func fakeSpeechFail(_ call: UnsafePointer<CChar>, _ error: UnsafePointer<CChar>) {
    FakeSpeech.shared.failures[String(cString: call)] = String(cString: error)
}

@available(macOS 26.0, *)
@_cdecl("fakeSpeechSay")
public func fakeSpeechSay(_ text: UnsafePointer<CChar>, _ isFinal: Bool) {
    FakeSpeech.shared.transcriber?.say(String(cString: text), isFinal: isFinal)
}

@available(macOS 26.0, *)
@_cdecl("fakeSpeechBreakResults")
public func fakeSpeechBreakResults(_ error: UnsafePointer<CChar>) {
    FakeSpeech.shared.transcriber?.endResults(throwing: FakeSpeechError(text: String(cString: error)))
}

@available(macOS 26.0, *)
@_cdecl("fakeSpeechCalls")
public func fakeSpeechCalls(
    _ context: UnsafeMutableRawPointer,
    _ take: @convention(c) (UnsafeMutableRawPointer, UnsafePointer<CChar>) -> Void
) {
    for call in FakeSpeech.shared.calls { call.withCString { take(context, $0) } }
}

@available(macOS 26.0, *)
@_cdecl("fakeSpeechHeard")
public func fakeSpeechHeard(
    _ context: UnsafeMutableRawPointer,
    _ take: @convention(c) (UnsafeMutableRawPointer, Int16) -> Void
) {
    for sample in FakeSpeech.shared.heard { take(context, sample) }
}

@available(macOS 26.0, *)
@_cdecl("fakeSpeechLivingCount")
public func fakeSpeechLivingCount() -> Int64 {
    Int64(livingCount.load(ordering: .relaxed) + AVAudioPCMBuffer.livingCount)
}
