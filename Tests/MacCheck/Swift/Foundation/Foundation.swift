// What the bridge and the fakes take from Foundation, for the check of availability alone, which is
// for a system whose Foundation is not here. The rest uses the compiler's own.

public struct Locale: Sendable {
    public let identifier: String

    public init(identifier: String) { self.identifier = identifier }
}

@available(macOS 12.0, *)
public struct AttributedString: Sendable {
    public let characters: [Character]

    public init(_ text: String) { characters = Array(text) }
}

public final class NSLock: @unchecked Sendable {
    public init() {}

    @available(macOS 10.0, *)
    public func withLock<Value>(_ body: () throws -> Value) rethrows -> Value { try body() }
}
