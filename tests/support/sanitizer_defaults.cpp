// Defaults of the sanitizers for every test program, read by their runtimes
// at start-up.  Suppressions name only the system's and Qt's own code.
extern "C" {

// Qt's locking (futex-based QMutex, atomics inside the uninstrumented
// libraries) is invisible to the thread sanitizer.
__attribute__((visibility("default"))) const char* __tsan_default_suppressions()
{
    return "called_from_lib:libQt6Core.so\n"
           "called_from_lib:libQt6Gui.so\n"
           "called_from_lib:libQt6Widgets.so\n"
           "called_from_lib:libfontconfig.so\n"
           "called_from_lib:libglib-2.0.so\n";
}

__attribute__((visibility("default"))) const char* __tsan_default_options()
{
    return "halt_on_error=1:second_deadlock_stack=1";
}

__attribute__((visibility("default"))) const char* __ubsan_default_options()
{
    return "print_stacktrace=1:halt_on_error=1";
}

// Caches that the system libraries keep for the life of the process.
__attribute__((visibility("default"))) const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig.so\n";
}
}
