#pragma once
// The interrupt key: the first press asks for a clean end, the second ends the process at once.

namespace zenquor::tools {

class Interrupt {
public:
    /// Takes over SIGINT and SIGTERM for the life of the process.
    static void install();
    static bool wasRequested();
};

}  // namespace zenquor::tools
