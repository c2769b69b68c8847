#pragma once
// One recording as a host drives it: a source, an encoder controller, a writer controller per output.

#include <memory>

#include "RecordOptions.h"

namespace zenquor::tools {

class RecordingSession {
public:
    explicit RecordingSession(RecordOptions options);
    ~RecordingSession();

    /// Records until the source ends, the frames are done, the interrupt key or a failure; tells the result
    /// on standard output and what went wrong on standard error. @return whether every output is whole.
    bool run();

private:
    struct Implementation;
    std::shared_ptr<Implementation> implementation_;
};

}  // namespace zenquor::tools
