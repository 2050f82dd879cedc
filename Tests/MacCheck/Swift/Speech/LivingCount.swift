import Synchronization

/// How many objects of the fakes there are.
let livingCount = Atomic<Int>(0)

/// Counts as long as its owner is there.
final class Living: Sendable {
    init() { livingCount.add(1, ordering: .relaxed) }
    deinit { livingCount.subtract(1, ordering: .relaxed) }
}
