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
    // When the terminal goes the recording ends cleanly, unless it was started to outlive it (nohup).
    struct sigaction before = {};
    sigaction(SIGHUP, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(SIGHUP, &action, nullptr);
    // A file that may not grow any further is an error of the write, not the end of the process.
    std::signal(SIGXFSZ, SIG_IGN);
}

bool Interrupt::wasRequested() {
    return requests != 0;
}

}  // namespace zenquor::tools
