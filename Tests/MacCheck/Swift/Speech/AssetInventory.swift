@available(macOS 26.0, *)
public final class AssetInventory {
    public enum Status: Int, Comparable, Sendable {
        case unsupported, supported, downloading, installed

        public static func < (one: Status, other: Status) -> Bool {
            one.rawValue < other.rawValue
        }
    }

    public static func status(forModules modules: [any SpeechModule]) async -> Status {
        await Task.yield()
        FakeSpeech.shared.called("status of \(modules.count)")
        return FakeSpeech.shared.status
    }

    /// Nil when everything is installed.
    public static func assetInstallationRequest(
        supporting modules: [any SpeechModule]
    ) async throws -> AssetInstallationRequest? {
        FakeSpeech.shared.called("request for \(modules.count)")
        try FakeSpeech.shared.throwFailure(of: "request")
        return FakeSpeech.shared.status == .installed ? nil : AssetInstallationRequest()
    }
}

@available(macOS 26.0, *)
public final class AssetInstallationRequest: @unchecked Sendable {
    public func downloadAndInstall() async throws {
        await Task.yield()
        FakeSpeech.shared.called("install")
        try FakeSpeech.shared.throwFailure(of: "install")
        FakeSpeech.shared.status = .installed
    }
}
