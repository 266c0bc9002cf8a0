#pragma once

#include "RequestStop.h"
#include "WebAddresses.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

namespace frameflow {

// Plain functions that ask a web server which version is current. They block and belong on a thread that may wait.

// How a request is made.
struct FetchOptions
{
    std::string certificateFile; // of those who may vouch for the server, beside those whom the system trusts
    std::chrono::milliseconds timeout = std::chrono::seconds(10); // for all of it
    std::shared_ptr<RequestStop> stop; // may be null
};

// Whom a check asks, and how.
struct UpdateServer
{
    std::string host = webAddresses::updateHost; // with a port where it is not the usual one
    FetchOptions options;

    // Whether the maker has no server yet.
    bool isReserved() const { return host == webAddresses::reservedHost; }
};

// The largest reply that is taken, in bytes; a larger one is a failure.
constexpr size_t largestReply = 65536;

// Gets a page over HTTPS from a server that can show who it is, and appends what it answers to the output, whatever the
// status of the reply. Redirects are not followed. False when the transfer failed; the output may then hold a part.
bool fetchURL(const std::string& url, std::string& output, const FetchOptions& options);

// False when the transfer failed. The output is set only when the reply is a usable version.
bool fetchLatestVersion(const std::string& product, std::string& output, const UpdateServer& server);

// -1 when the request failed, 1 when the server names a newer version, 0 otherwise. Copies the server's version, which
// may be empty, into the buffer, cut to its size and terminated.
int checkForUpdate(const std::string& product, const std::string& currentVersion, char* buffer, size_t bufferSize,
    const UpdateServer& server);

} // namespace frameflow
