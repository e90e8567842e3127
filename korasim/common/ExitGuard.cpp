#include "common/ExitGuard.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>

#include "common/TemporaryTrees.h"

namespace korasim {

namespace {

// Fixed storage: signal handlers read it without locks or allocation.
char gStep[256] = "starting";

void writeStderr(const char* text) {
    ssize_t ignored = write(2, text, strlen(text));
    (void)ignored;
}

void onFatalSignal(int signo) {
    char message[400];
    snprintf(message, sizeof(message),
             "korasim: fatal signal %d (%s) while %s; the session did not complete\n", signo,
             sigabbrev_np(signo) ? sigabbrev_np(signo) : "?", gStep);
    writeStderr(message);
    removeRegisteredTrees();
    _exit(1);
}

// Interrupted or the reader went away: clean up, then end as the signal would have. The signal
// stays blocked while its handler runs, so the raised one ends the process only once the handler
// has returned; errno is given back by then, as the interrupted code may still read it.
void onStopSignal(int signo) {
    const int savedErrno = errno;
    removeRegisteredTrees();
    signal(signo, SIG_DFL);
    raise(signo);
    errno = savedErrno;
}

}  // namespace

void installGuard() {
    static std::once_flag once;
    std::call_once(once, [] {
        for (int signo : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
            signal(signo, onFatalSignal);
        for (int signo : kStopSignals)
            signal(signo, onStopSignal);
        atexit(removeRegisteredTrees);
    });
}

void setCurrentStep(const std::string& text) {
    const size_t n = std::min(text.size(), sizeof(gStep) - 1);
    memcpy(gStep, text.data(), n);
    gStep[n] = '\0';
}

std::string currentStep() {
    return gStep;
}

}  // namespace korasim
