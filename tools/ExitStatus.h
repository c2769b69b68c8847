#pragma once
// What the command tells the shell.

namespace zenquor::tools {

enum ExitStatus : int {
    ExitSuccess = 0,
    ExitFailure = 1,        // a recording failed, a file could not be read
    ExitWrongArguments = 2  // nothing was started
};

}  // namespace zenquor::tools
