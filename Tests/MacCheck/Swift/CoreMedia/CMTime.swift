/// Of the system's structure, what names a moment.
public struct CMTime: Sendable {
    public var value: Int64
    public var timescale: Int32
}
