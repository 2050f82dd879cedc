#pragma once

namespace tapwell {

/// Whether there is an audio server's socket that this process may not open, at one of the places
/// where the client library looks. Any thread.
bool isPipeWireSocketForbidden();

}  // namespace tapwell
