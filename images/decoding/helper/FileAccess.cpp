#include "FileAccess.h"

#include "FileContents.h"

#include <QtGlobal>

#include <array>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace frameflow {

namespace {

// Landlock as its last known version describes it; the kernel's headers that one builds with may know less.
constexpr quint64 execute = 1ULL << 0;
constexpr quint64 writeFile = 1ULL << 1;
constexpr quint64 readFile = 1ULL << 2;
constexpr quint64 readFolder = 1ULL << 3;
constexpr quint64 removeAndMake = (1ULL << 13) - (1ULL << 4);
constexpr quint64 refer = 1ULL << 13; // since 2
constexpr quint64 truncateFile = 1ULL << 14; // since 3
constexpr quint64 deviceControl = 1ULL << 15; // since 5
constexpr quint64 bindAndConnect = (1ULL << 0) | (1ULL << 1); // since 4
constexpr quint64 socketsAndSignals = (1ULL << 0) | (1ULL << 1); // since 6

struct Ruleset
{
    quint64 files;
    quint64 network;
    quint64 scopes;
};

struct __attribute__((packed)) PathRule
{
    quint64 allowed;
    qint32 parent;
};

constexpr int pathRule = 1;
constexpr unsigned askVersion = 1;

// Also what a library opens late: its plug-ins, tables and settings. Nothing of a person's lies in them.
constexpr std::array readableFolders{
    "/usr",
    "/lib",
    "/lib32",
    "/lib64",
    "/libx32",
    "/etc/ld.so.cache",
    "/etc/fonts",
    "/etc/ImageMagick-6",
    "/var/cache/fontconfig",
};

Ruleset rulesetOf(int version)
{
    Ruleset rules = {execute | writeFile | readFile | readFolder | removeAndMake, 0, 0};
    rules.files |= version >= 2 ? refer : 0;
    rules.files |= version >= 3 ? truncateFile : 0;
    rules.network = version >= 4 ? bindAndConnect : 0;
    rules.files |= version >= 5 ? deviceControl : 0;
    rules.scopes = version >= 6 ? socketsAndSignals : 0;
    return rules;
}

void allowReading(int ruleset, const char* path)
{
    const FileDescriptor folder(open(path, O_PATH | O_CLOEXEC));
    if (!folder.isOpen()) {
        return;
    }
    const bool isFolder = FileDescriptor(open(path, O_PATH | O_DIRECTORY | O_CLOEXEC)).isOpen();
    const PathRule rule{isFolder ? readFile | readFolder : readFile, folder.number()};
    syscall(SYS_landlock_add_rule, ruleset, pathRule, &rule, 0U);
}

} // namespace

int fileAccessVersion()
{
    const long version = syscall(SYS_landlock_create_ruleset, nullptr, size_t(0), askVersion);
    return version > 0 ? static_cast<int>(version) : 0;
}

bool restrictFileAccess(int version)
{
    if (version <= 0) {
        return false;
    }
    const Ruleset rules = rulesetOf(version);
    const FileDescriptor ruleset(static_cast<int>(syscall(SYS_landlock_create_ruleset, &rules, sizeof(rules), 0U)));
    if (!ruleset.isOpen()) {
        return false;
    }
    for (const char* const path : readableFolders) {
        allowReading(ruleset.number(), path);
    }
    return syscall(SYS_landlock_restrict_self, ruleset.number(), 0U) == 0;
}

} // namespace frameflow
