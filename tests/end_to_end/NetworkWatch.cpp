// Loaded into a program before all else: notes in $NETWORK_WATCH every socket for a network and every host that is
// looked up, a line each.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

void note(const char* what, const char* name)
{
    const char* const path = std::getenv("NETWORK_WATCH");
    const int file = path != nullptr ? open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600) : -1;
    if (file < 0) {
        return;
    }
    char line[300];
    const int length = std::snprintf(line, sizeof line, "%s %s\n", what, name);
    [[maybe_unused]] const auto written = write(file, line, static_cast<size_t>(length));
    close(file);
}

template <typename Function>
Function nextOne(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int socket(int domain, int type, int protocol) noexcept
{
    if (domain != AF_UNIX && domain != AF_NETLINK) {
        note("socket", domain == AF_INET ? "IPv4" : domain == AF_INET6 ? "IPv6" : "other");
    }
    return nextOne<int (*)(int, int, int)>("socket")(domain, type, protocol);
}

extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** result)
{
    note("host", host != nullptr ? host : "-");
    return nextOne<int (*)(const char*, const char*, const addrinfo*, addrinfo**)>("getaddrinfo")(
        host, service, hints, result);
}
