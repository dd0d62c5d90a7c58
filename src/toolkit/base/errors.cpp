#include "toolkit/base/errors.h"

#include <cxxabi.h>
#include <execinfo.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

namespace {

struct Register
{
    std::string text;      // all lines, each ending in a new line
    std::string snapshot;  // what hl_errlog_string() last handed out
    int lines = 0;
};

Register& threadRegister()
{
    thread_local Register reg;
    return reg;
}

std::mutex log_mutex;
std::atomic<HL_ErrlogCallback> log_callback{nullptr};

std::string vformat(const char* format, va_list ap)
{
    va_list copy;
    va_copy(copy, ap);
    char small[512];
    int n = vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (n < 0)
        return std::string(format);
    if (static_cast<size_t>(n) < sizeof small)
        return std::string(small, n);
    std::string out(static_cast<size_t>(n), '\0');
    vsnprintf(out.data(), out.size() + 1, format, ap);
    return out;
}

// Send text to the log, split into lines so that a callback sees one line a call.
void logText(const std::string& text)
{
    if (text.empty())
        return;
    std::lock_guard<std::mutex> lock(log_mutex);
    HL_ErrlogCallback cb = log_callback.load();
    size_t start = 0;
    while (start < text.size()) {
        size_t nl = text.find('\n', start);
        std::string line = nl == std::string::npos ? text.substr(start) + "\n" : text.substr(start, nl - start + 1);
        start = nl == std::string::npos ? text.size() : nl + 1;
        if (cb)
            cb(line.c_str());
        else
            fputs(line.c_str(), stderr);
    }
    if (!cb)
        fflush(stderr);
}

} // namespace

int hl_register_verror(int /*severity*/, const char* format, va_list ap)
{
    Register& reg = threadRegister();
    std::string line = vformat(format ? format : "", ap);
    reg.text += line;
    if (!line.empty() && line.back() != '\n')
        reg.text += '\n';
    reg.lines++;
    return 0;
}

int hl_register_error(int severity, const char* format, ...)
{
    va_list ap;
    va_start(ap, format);
    hl_register_verror(severity, format, ap);
    va_end(ap);
    return 0;
}

const char* hl_errlog_string(int /*flags*/)
{
    Register& reg = threadRegister();
    reg.snapshot = reg.text;
    return reg.snapshot.c_str();
}

int hl_error_count()
{
    return threadRegister().lines;
}

int hl_clear_register(int print)
{
    Register& reg = threadRegister();
    if (print)
        logText(reg.text);
    reg.text.clear();
    reg.lines = 0;
    return 0;
}

int hl_complain(int /*flags*/, const char* format, ...)
{
    va_list ap;
    va_start(ap, format);
    std::string text = vformat(format ? format : "", ap);
    va_end(ap);
    logText(text);
    return 0;
}

void hl_die(int severity, const char* format, ...)
{
    va_list ap;
    va_start(ap, format);
    std::string text = vformat(format ? format : "", ap);
    va_end(ap);
    logText(text);
    if (severity)
        log_stack_trace();
    std::exit(1);
}

namespace {
std::atomic<int> ptimes_on{-1};
}

void hl_ptimes_enable(int on)
{
    ptimes_on = on ? 1 : 0;
}

void hl_ptimes(const char* label, int /*flags*/)
{
    int on = ptimes_on.load();
    if (on < 0) {
        on = getenv("VXPLOT_PTIMES") ? 1 : 0;
        ptimes_on = on;
    }
    if (!on)
        return;
    thread_local double last_wall = -1.0, last_cpu = 0.0;
    double wall = std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    struct rusage ru;
    getrusage(RUSAGE_THREAD, &ru);
    double cpu = ru.ru_utime.tv_sec + ru.ru_stime.tv_sec + 1e-6 * (ru.ru_utime.tv_usec + ru.ru_stime.tv_usec);
    if (last_wall < 0.0)
        hl_complain(0, "%s: timing starts\n", label ? label : "");
    else
        hl_complain(0, "%s: %.6f s elapsed, %.6f s processor\n", label ? label : "", wall - last_wall, cpu - last_cpu);
    last_wall = wall;
    last_cpu = cpu;
}

void log_stack_trace()
{
    void* frames[64];
    int n = backtrace(frames, 64);
    char** symbols = backtrace_symbols(frames, n);
    std::string text = "Stack trace:\n";
    for (int i = 1; i < n; i++) {
        std::string sym = symbols ? symbols[i] : "?";
        // "module(mangled+offset) [address]": demangle the middle part
        size_t open = sym.find('('), plus = sym.find('+', open == std::string::npos ? 0 : open);
        if (open != std::string::npos && plus != std::string::npos && plus > open + 1) {
            std::string mangled = sym.substr(open + 1, plus - open - 1);
            int status = 0;
            char* name = abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, &status);
            if (status == 0 && name)
                sym = sym.substr(0, open + 1) + name + sym.substr(plus);
            free(name);
        }
        text += "  #" + std::to_string(i - 1) + " " + sym + "\n";
    }
    free(symbols);
    logText(text);
}

int errlog_set(int option, int /*flags*/, void* value)
{
    if (option == HL_ERRLOG_CALLBACK) {
        std::lock_guard<std::mutex> lock(log_mutex);
        log_callback = reinterpret_cast<HL_ErrlogCallback>(value);
        return 0;
    }
    hl_register_error(0, "errlog_set: Unknown option %d.\n", option);
    return -1;
}
