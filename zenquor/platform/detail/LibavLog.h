#pragma once
// Where the libav libraries' own messages go.

namespace zenquor::platform::detail {

/// Sends the messages of the libav libraries to the log at debug level. The first call does it; later ones do
/// nothing, so that a host that wants them elsewhere may take them back.
///
/// Thread-safety: Safe.
void routeLibavLogging();

}  // namespace zenquor::platform::detail
