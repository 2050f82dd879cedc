// The functions of AnalyzerBridge.h on the system's speech analyzer. Every newer symbol is behind a
// check of the system's version, so that the program starts on older ones.

import AVFAudio
import Foundation
import Speech
import Synchronization

public typealias Completion =
    @convention(c) @Sendable (UnsafeMutableRawPointer?, UnsafePointer<CChar>?) -> Void
public typealias SupportAnswer = @convention(c) @Sendable (UnsafeMutableRawPointer?, Bool) -> Void
public typealias StatusAnswer = @convention(c) @Sendable (UnsafeMutableRawPointer?, Int32) -> Void
public typealias FormatAnswer = @convention(c) @Sendable (UnsafeMutableRawPointer?, Double) -> Void
public typealias ResultHandler =
    @convention(c) @Sendable (UnsafeMutableRawPointer?, UnsafePointer<CChar>?, Bool) -> Void

/// A caller's pointer on its way through a task; the caller sees to its safety.
private struct Context: @unchecked Sendable {
    let pointer: UnsafeMutableRawPointer?
}

@available(macOS 26.0, *)
private final class Transcriber: Sendable {
    let module: SpeechTranscriber
    let reading = Mutex<Task<Void, Never>?>(nil)

    init(locale: String) {
        module = SpeechTranscriber(
            locale: Locale(identifier: locale), preset: .progressiveTranscription)
    }

    static func from(_ handle: UnsafeMutableRawPointer) -> Transcriber {
        Unmanaged<Transcriber>.fromOpaque(handle).takeUnretainedValue()
    }
}

@available(macOS 26.0, *)
private final class Analyzer: Sendable {
    let transcriber: Transcriber
    let analyzer: SpeechAnalyzer
    let input: AsyncStream<AnalyzerInput>
    let inputBuilder: AsyncStream<AnalyzerInput>.Continuation
    let starting = Mutex<Task<Void, Never>?>(nil)

    init(transcriber: Transcriber) {
        self.transcriber = transcriber
        analyzer = SpeechAnalyzer(modules: [transcriber.module])
        (input, inputBuilder) = AsyncStream<AnalyzerInput>.makeStream()
    }

    static func from(_ handle: UnsafeMutableRawPointer) -> Analyzer {
        Unmanaged<Analyzer>.fromOpaque(handle).takeUnretainedValue()
    }
}

/// Runs `work` in a task and tells `completion` how it ended.
@available(macOS 26.0, *)
@discardableResult
private func run(
    _ context: Context, _ completion: @escaping Completion,
    _ work: @escaping @Sendable () async throws -> Void
) -> Task<Void, Never> {
    Task.detached {
        do {
            try await work()
            completion(context.pointer, nil)
        } catch {
            "\(error)".withCString { completion(context.pointer, $0) }
        }
    }
}

@_cdecl("tapwellAnalyzerIsAvailable")
public func analyzerIsAvailable() -> Bool {
    if #available(macOS 26.0, *) { return true }
    return false
}

@_cdecl("tapwellAnalyzerSupportsLocale")
public func analyzerSupportsLocale(
    _ locale: UnsafePointer<CChar>, _ context: UnsafeMutableRawPointer?,
    _ answer: @escaping SupportAnswer
) {
    let context = Context(pointer: context)
    guard #available(macOS 26.0, *) else { return answer(context.pointer, false) }
    let wanted = Locale(identifier: String(cString: locale))
    Task.detached {
        let supported = await SpeechTranscriber.supportedLocale(equivalentTo: wanted)
        answer(context.pointer, supported != nil)
    }
}

@_cdecl("tapwellTranscriberCreate")
public func transcriberCreate(_ locale: UnsafePointer<CChar>) -> UnsafeMutableRawPointer? {
    guard #available(macOS 26.0, *) else { return nil }
    return Unmanaged.passRetained(Transcriber(locale: String(cString: locale))).toOpaque()
}

@_cdecl("tapwellTranscriberRelease")
public func transcriberRelease(_ handle: UnsafeMutableRawPointer) {
    guard #available(macOS 26.0, *) else { return }
    Unmanaged<Transcriber>.fromOpaque(handle).release()
}

@_cdecl("tapwellTranscriberStatus")
public func transcriberStatus(
    _ handle: UnsafeMutableRawPointer, _ context: UnsafeMutableRawPointer?,
    _ answer: @escaping StatusAnswer
) {
    let context = Context(pointer: context)
    guard #available(macOS 26.0, *) else { return answer(context.pointer, 0) }
    let transcriber = Transcriber.from(handle)
    Task.detached {
        switch await AssetInventory.status(forModules: [transcriber.module]) {
        case .installed: answer(context.pointer, 2)
        case .unsupported: answer(context.pointer, 0)
        default: answer(context.pointer, 1)
        }
    }
}

@_cdecl("tapwellTranscriberInstall")
public func transcriberInstall(
    _ handle: UnsafeMutableRawPointer, _ context: UnsafeMutableRawPointer?,
    _ completion: @escaping Completion
) {
    guard #available(macOS 26.0, *) else { return }
    let transcriber = Transcriber.from(handle)
    run(Context(pointer: context), completion) {
        let request = try await AssetInventory.assetInstallationRequest(
            supporting: [transcriber.module])
        try await request?.downloadAndInstall()
    }
}

@_cdecl("tapwellTranscriberReadResults")
public func transcriberReadResults(
    _ handle: UnsafeMutableRawPointer, _ context: UnsafeMutableRawPointer?,
    _ onResult: @escaping ResultHandler, _ onEnd: @escaping Completion
) {
    guard #available(macOS 26.0, *) else { return }
    let context = Context(pointer: context)
    let transcriber = Transcriber.from(handle)
    let module = transcriber.module
    let reading = run(context, onEnd) {
        for try await result in module.results {
            String(result.text.characters).withCString {
                onResult(context.pointer, $0, result.isFinal)
            }
        }
    }
    transcriber.reading.withLock { $0 = reading }
}

@_cdecl("tapwellAnalyzerCreate")
public func analyzerCreate(_ transcriber: UnsafeMutableRawPointer) -> UnsafeMutableRawPointer? {
    guard #available(macOS 26.0, *) else { return nil }
    return Unmanaged.passRetained(Analyzer(transcriber: Transcriber.from(transcriber))).toOpaque()
}

@_cdecl("tapwellAnalyzerRelease")
public func analyzerRelease(_ handle: UnsafeMutableRawPointer) {
    guard #available(macOS 26.0, *) else { return }
    let analyzer = Unmanaged<Analyzer>.fromOpaque(handle).takeRetainedValue()
    analyzer.inputBuilder.finish()
    Task.detached {
        // What comes to the system after its cancellation could start it once more.
        await analyzer.starting.withLock { $0 }?.value
        await analyzer.analyzer.cancelAndFinishNow()
        analyzer.transcriber.reading.withLock { $0 }?.cancel()
    }
}

@_cdecl("tapwellAnalyzerFormat")
public func analyzerFormat(
    _ handle: UnsafeMutableRawPointer, _ context: UnsafeMutableRawPointer?,
    _ answer: @escaping FormatAnswer
) {
    let context = Context(pointer: context)
    guard #available(macOS 26.0, *) else { return answer(context.pointer, 0) }
    let analyzer = Analyzer.from(handle)
    Task.detached {
        let format = await SpeechAnalyzer.bestAvailableAudioFormat(
            compatibleWith: [analyzer.transcriber.module])
        answer(context.pointer, format?.sampleRate ?? 0)
    }
}

/// The samples in a buffer of the form that the analyzer takes: 16-bit mono.
@available(macOS 26.0, *)
private func buffer(
    _ samples: UnsafePointer<Float>, _ frames: Int, _ sampleRate: Double
) -> AVAudioPCMBuffer? {
    guard
        let format = AVAudioFormat(
            commonFormat: .pcmFormatInt16, sampleRate: sampleRate, channels: 1, interleaved: false),
        let buffer = AVAudioPCMBuffer(pcmFormat: format, frameCapacity: AVAudioFrameCount(frames)),
        let channel = buffer.int16ChannelData?[0]
    else { return nil }
    buffer.frameLength = AVAudioFrameCount(frames)
    for frame in 0..<frames {
        let sample = samples[frame]
        channel[frame] = sample.isNaN ? 0 : Int16(max(-1, min(1, sample)) * 32767)
    }
    return buffer
}

@_cdecl("tapwellAnalyzerYield")
public func analyzerYield(
    _ handle: UnsafeMutableRawPointer, _ samples: UnsafePointer<Float>, _ frames: Int64,
    _ sampleRate: Double
) {
    guard #available(macOS 26.0, *) else { return }
    guard frames > 0, let buffer = buffer(samples, Int(frames), sampleRate) else { return }
    Analyzer.from(handle).inputBuilder.yield(AnalyzerInput(buffer: buffer))
}

@_cdecl("tapwellAnalyzerFinishInput")
public func analyzerFinishInput(_ handle: UnsafeMutableRawPointer) {
    guard #available(macOS 26.0, *) else { return }
    Analyzer.from(handle).inputBuilder.finish()
}

@_cdecl("tapwellAnalyzerStart")
public func analyzerStart(
    _ handle: UnsafeMutableRawPointer, _ context: UnsafeMutableRawPointer?,
    _ completion: @escaping Completion
) {
    guard #available(macOS 26.0, *) else { return }
    let analyzer = Analyzer.from(handle)
    let starting = run(Context(pointer: context), completion) {
        try await analyzer.analyzer.start(inputSequence: analyzer.input)
    }
    analyzer.starting.withLock { $0 = starting }
}

@_cdecl("tapwellAnalyzerFinalize")
public func analyzerFinalize(
    _ handle: UnsafeMutableRawPointer, _ context: UnsafeMutableRawPointer?,
    _ completion: @escaping Completion
) {
    guard #available(macOS 26.0, *) else { return }
    let analyzer = Analyzer.from(handle)
    analyzer.inputBuilder.finish()
    run(Context(pointer: context), completion) {
        try await analyzer.analyzer.finalizeAndFinishThroughEndOfInput()
        // Its end comes after the last result, which another task hands on.
        await analyzer.transcriber.reading.withLock { $0 }?.value
    }
}
