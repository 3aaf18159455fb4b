// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/CrashHandler.h"

#include <csignal>
#include <cstdint>
#include <cstring>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace CrashHandler {

namespace {

constexpr int fatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr int maxFrames = 128;

// Everything the handler touches is prepared before a crash: no allocation inside it.
char crashPath[4096];
char partialPath[4096 + 16];
char header[2048];
size_t headerLength = 0;
alignas(16) char alternateStack[64 * 1024];
volatile sig_atomic_t handling = 0;

void writeAll(int fd, const char *bytes, size_t length)
{
    while (length > 0) {
        const ssize_t written = ::write(fd, bytes, length);
        if (written <= 0)
            return;
        bytes += written;
        length -= size_t(written);
    }
}

void writeText(int fd, const char *text)
{
    writeAll(fd, text, strlen(text));
}

// snprintf is not async-signal-safe: digits by hand.
void writeNumber(int fd, const char *label, long long value, unsigned base)
{
    char digits[32];
    int at = int(sizeof digits);
    unsigned long long magnitude = value < 0 ? 0ULL - (unsigned long long)value : (unsigned long long)value;
    do {
        digits[--at] = "0123456789abcdef"[magnitude % base];
        magnitude /= base;
    } while (magnitude > 0);
    if (base == 16) {
        digits[--at] = 'x';
        digits[--at] = '0';
    }
    if (value < 0 && base == 10)
        digits[--at] = '-';
    writeText(fd, label);
    writeAll(fd, digits + at, sizeof digits - size_t(at));
    writeText(fd, "\n");
}

bool isFault(int signo)
{
    return signo == SIGSEGV || signo == SIGBUS || signo == SIGILL || signo == SIGFPE;
}

void onFatalSignal(int signo, siginfo_t *info, void *)
{
    if (!handling) { // a second crash while writing only ends the process
        handling = 1;
        const int fd = ::open(partialPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (fd >= 0) {
            writeAll(fd, header, headerLength);
            writeNumber(fd, "signal: ", signo, 10);
            writeNumber(fd, "code: ", info ? info->si_code : 0, 10);
            if (info && isFault(signo))
                writeNumber(fd, "address: ", (long long)(uintptr_t)info->si_addr, 16);
            writeText(fd, "frames:\n");
            void *frames[maxFrames];
            backtrace_symbols_fd(frames, backtrace(frames, maxFrames), fd);
            ::close(fd);
            ::rename(partialPath, crashPath); // the next launch never reads a half-written file
        }
    }
    // The default action ends the process as it would have without us (core dump included).
    ::signal(signo, SIG_DFL);
    ::raise(signo);
}

bool copyInto(char *target, size_t capacity, const QByteArray &source)
{
    if (size_t(source.size()) + 1 > capacity)
        return false;
    memcpy(target, source.constData(), size_t(source.size()));
    target[source.size()] = '\0';
    return true;
}

} // namespace

bool install(const QByteArray &path, const QByteArray &headerText)
{
    if (!copyInto(crashPath, sizeof crashPath, path) ||
        !copyInto(partialPath, sizeof partialPath, path + ".partial") ||
        !copyInto(header, sizeof header, headerText))
        return false;
    headerLength = size_t(headerText.size());

    // Warm-up: the first backtrace() loads libgcc_s, which allocates; do it now, not in the handler.
    void *frames[4];
    backtrace(frames, 4);

    stack_t stack{};
    stack.ss_sp = alternateStack;
    stack.ss_size = sizeof alternateStack;
    sigaltstack(&stack, nullptr); // a stack overflow still gets a stack to report on

    struct sigaction action {};
    action.sa_sigaction = onFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    for (const int signo : fatalSignals)
        sigaction(signo, &action, nullptr);
    return true;
}

void crashForTest()
{
    const rlimit noCore{0, 0}; // a test crash leaves no core file behind
    setrlimit(RLIMIT_CORE, &noCore);
    static volatile uintptr_t address = 0; // opaque to the compiler: a genuine load from address 0
    [[maybe_unused]] const int value = *reinterpret_cast<volatile int *>(address);
    abort();
}

} // namespace CrashHandler
