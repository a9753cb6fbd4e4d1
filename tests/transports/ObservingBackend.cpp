// A backend program that writes down what it was started with, beside the name it was started under:
// <name>.seen holds a line for each thing seen, <name>.input what came on standard input.
// Started as "…/traced" it instead lets a process of its own trace it, so that not even SIGKILL makes it go away
// until <name>.release exists: the nearest thing to a program that a device holds in the kernel.
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <unistd.h>

extern char** environ;

namespace {

bool exists(const std::string& path)
{
    struct stat status { };
    return ::stat(path.c_str(), &status) == 0;
}

void writeStreams(std::ostream& seen)
{
    DIR* folder = ::opendir("/proc/self/fd");
    while (const dirent* entry = ::readdir(folder)) {
        if (entry->d_name[0] == '.' || std::atoi(entry->d_name) == ::dirfd(folder))
            continue;
        char target[512] = {};
        if (::readlinkat(::dirfd(folder), entry->d_name, target, sizeof target - 1) < 0)
            continue;
        const std::string text = target;
        seen << "descriptor " << entry->d_name << ' ' << text.substr(0, text.find(':')) << '\n';
    }
    ::closedir(folder);
}

void writeSignals(std::ostream& seen)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("SigBlk:", 0) == 0 || line.rfind("SigIgn:", 0) == 0)
            seen << line << '\n';
    }
}

void observe(int argc, char** argv)
{
    const std::string name = argv[0];
    std::ostringstream seen;
    writeStreams(seen); // before any file of its own is open
    for (int i = 1; i < argc; ++i)
        seen << "argument [" << argv[i] << "]\n";
    for (char** variable = environ; *variable != nullptr; ++variable)
        seen << "variable " << *variable << '\n';
    writeSignals(seen);
    std::ofstream(name + ".input", std::ios::binary) << std::cin.rdbuf();
    std::ofstream(name + ".seen") << seen.str();
}

/// The child traces its parent and keeps it until it is told to let go.
void traceParent(const std::string& name)
{
    if (::ptrace(PTRACE_SEIZE, ::getppid(), nullptr, nullptr) != 0) {
        std::ofstream(name + ".refused").flush();
        return;
    }
    std::ofstream(name + ".ready").flush();
    while (!exists(name + ".release") && exists(name)) // the test may be gone
        ::usleep(5'000);
}

} // namespace

int main(int argc, char** argv)
{
    const std::string name = argv[0];
    if (name.substr(name.rfind('/') + 1) == "traced") {
        ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
        if (::fork() == 0) {
            traceParent(name);
            return 0;
        }
        while (true)
            ::pause();
    }
    observe(argc, argv);
    return 0;
}
