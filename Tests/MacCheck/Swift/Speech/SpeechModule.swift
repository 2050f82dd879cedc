@available(macOS 26.0, *)
public protocol SpeechModule: AnyObject, Sendable {}
