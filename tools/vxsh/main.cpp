// vxsh: drive the graphics server with text commands from a script or a pipe.
#include "shell.h"

#include <VX.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

// Under the leak sanitizer: font caches that fontconfig keeps for the life
// of the process are not leaks of the shell.  Unused in other builds.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig.so\n";
}

extern "C" __attribute__((visibility("default"))) const char* __lsan_default_options()
{
    return "print_suppressions=0";
}

namespace {

void usage(FILE* out)
{
    fputs("Usage: vxsh [options] [script.vxs ...]\n"
          "Reads commands of the graphics server from the scripts, or from standard input,\n"
          "one a line, and prints each response as a tab-separated line: code, handle, results.\n"
          "\n"
          "  -c TEXT            run TEXT as the script\n"
          "  -k, --keep-going   report failed commands and go on; exit status 0\n"
          "  -q, --quiet        print no responses\n"
          "  --snapshot FILE    when the session ends, write each top-level window to FILE (PNG)\n"
          "  --wait             after the script, wait until the session ends (a window is closed)\n"
          "  --no-wait          after the script, end the session\n"
          "  --list-commands    print the command words with their usage and exit\n"
          "  -h, --help         this text\n"
          "Without a display the shell runs on Qt's offscreen platform.\n",
          out);
}

} // namespace

int main(int argc, char** argv)
{
    ShellOptions& opt = shellState().options;
    for (int i = 1; i < argc; i++) {
        const char* a = argv[i];
        auto needValue = [&](const char* name) -> const char* {
            if (i + 1 >= argc) {
                fprintf(stderr, "vxsh: %s needs a value\n", name);
                exit(2);
            }
            return argv[++i];
        };
        if (!strcmp(a, "-k") || !strcmp(a, "--keep-going"))
            opt.keep_going = true;
        else if (!strcmp(a, "-q") || !strcmp(a, "--quiet"))
            opt.quiet = true;
        else if (!strcmp(a, "--wait"))
            opt.wait = 1;
        else if (!strcmp(a, "--no-wait"))
            opt.wait = 0;
        else if (!strcmp(a, "--snapshot"))
            opt.snapshot = QString::fromLocal8Bit(needValue(a));
        else if (!strcmp(a, "-c"))
            opt.inline_script = QString::fromUtf8(needValue(a));
        else if (!strcmp(a, "--list-commands")) {
            for (const VX_GraphicsServer_command_row& row : VX_GraphicsServer_commands())
                printf("%-28s %s\n", row.command, row.usage);
            return 0;
        } else if (!strcmp(a, "-h") || !strcmp(a, "--help")) {
            usage(stdout);
            return 0;
        } else if (a[0] == '-' && a[1] != '\0') {
            fprintf(stderr, "vxsh: unknown option '%s'\n", a);
            usage(stderr);
            return 2;
        } else
            opt.files.append(QString::fromLocal8Bit(a));
    }
    if (opt.files.isEmpty() && opt.inline_script.isEmpty()) {
        opt.files.append(QStringLiteral("-"));
        opt.interactive = isatty(0);
    }
    shellState().snapshot = opt.snapshot;

    if (!getenv("QT_QPA_PLATFORM") && !getenv("DISPLAY") && !getenv("WAYLAND_DISPLAY"))
        setenv("QT_QPA_PLATFORM", "offscreen", 1);

    // Qt may take its own options from the arguments; the shell's are read already.
    char* qt_args[] = {argv[0], nullptr};
    VX_GraphicsServer* server = VX_GraphicsServer_create(1, qt_args, "vxsh", shellClient, 1);
    if (!server) {
        fprintf(stderr, "vxsh: %s", hl_errlog_string(0));
        return 1;
    }
    // The session has ended: by quit, or by closing its first window.  After
    // a quit of the client's, let it print its last response first.
    for (int i = 0; i < 10000 && shellState().ending && !shellState().finished; i++)
        usleep(1000);
    QString snapshot;
    {
        std::lock_guard<std::mutex> lock(shellState().mutex);
        snapshot = shellState().snapshot;
    }
    if (!snapshot.isEmpty() && VX_GraphicsServer_snapshot(server, snapshot) < 0) {
        fprintf(stderr, "vxsh: %s", hl_errlog_string(0));
        hl_clear_register(0);
        shellState().status = 1;
    }
    fflush(stdout);
    // the client thread may still sit in a read; the process ends here
    exit(shellState().status.load());
}
