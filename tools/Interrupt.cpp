#include "Interrupt.h"

#include <unistd.h>

#include <csignal>

#include "ExitStatus.h"

namespace zenquor::tools {
namespace {

volatile std::sig_atomic_t requests = 0;

void onSignal(int) {
    if (requests) _exit(ExitFailure);
    requests = 1;
}

}  // namespace

void Interrupt::install() {
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);  // the terminal is gone; the recording ends cleanly
    // A file that may not grow any further is an error of the write, not the end of the process.
    std::signal(SIGXFSZ, SIG_IGN);
}

bool Interrupt::wasRequested() {
    return requests != 0;
}

}  // namespace zenquor::tools
