#include "UpdateLibrary.h"

#include "CurlLibrary.h"
#include "VersionText.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <utility>

namespace frameflow {

namespace {

// A server that goes away while it is written to is a failure of the request and not the end of the program. For the
// calling thread alone.
class NoBrokenPipes
{
public:
    NoBrokenPipes()
    {
        sigemptyset(&mSignals);
        sigaddset(&mSignals, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        mWasPending = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &mSignals, &mBefore);
    }
    ~NoBrokenPipes()
    {
        if (!mWasPending) {
            const timespec noTime{};
            sigtimedwait(&mSignals, nullptr, &noTime);
        }
        pthread_sigmask(SIG_SETMASK, &mBefore, nullptr);
    }
    NoBrokenPipes(const NoBrokenPipes&) = delete;
    NoBrokenPipes& operator=(const NoBrokenPipes&) = delete;

private:
    sigset_t mSignals;
    sigset_t mBefore;
    bool mWasPending;
};

// What the callbacks of the library know.
struct Transfer
{
    std::string& output;
    size_t taken = 0;
    RequestStop* stop;
};

size_t takeReply(const char* bytes, size_t size, size_t count, void* transfer)
{
    auto& to = *static_cast<Transfer*>(transfer);
    const size_t length = size * count;
    if (length > largestReply - to.taken) {
        return 0; // not all of it: the transfer fails
    }
    to.taken += length;
    to.output.append(bytes, length);
    return length;
}

curl_socket_t openSocket(void* stop, curlsocktype /*purpose*/, curl_sockaddr* address)
{
    const int socket
        = static_cast<RequestStop*>(stop)->openSocket(address->family, address->socktype, address->protocol);
    return socket < 0 ? CURL_SOCKET_BAD : socket;
}

int closeSocket(void* stop, curl_socket_t socket)
{
    return static_cast<RequestStop*>(stop)->closeSocket(socket);
}

int isToStop(void* stop, curl_off_t /*toCome*/, curl_off_t /*come*/, curl_off_t /*toGo*/, curl_off_t /*gone*/)
{
    return static_cast<RequestStop*>(stop)->isStopped() ? 1 : 0;
}

// What is left as it is: certificates and the name in them are checked, redirects are not followed.
bool setOptions(const CurlLibrary& curl, CURL* handle, const FetchOptions& options, RequestStop* stop)
{
    const auto set = [&](CURLoption option, auto value) { return curl.easySetopt(handle, option, value) == CURLE_OK; };
    return set(CURLOPT_PROTOCOLS_STR, "https") && set(CURLOPT_TIMEOUT_MS, static_cast<long>(options.timeout.count()))
        && set(CURLOPT_NOSIGNAL, 1L)
        // When the time is up, a look-up of the host may go on without anybody waiting for it.
        && set(CURLOPT_QUICK_EXIT, 1L) && set(CURLOPT_OPENSOCKETFUNCTION, &openSocket)
        && set(CURLOPT_OPENSOCKETDATA, stop) && set(CURLOPT_CLOSESOCKETFUNCTION, &closeSocket)
        && set(CURLOPT_CLOSESOCKETDATA, stop) && set(CURLOPT_NOPROGRESS, 0L) && set(CURLOPT_XFERINFOFUNCTION, &isToStop)
        && set(CURLOPT_XFERINFODATA, stop)
        && (options.certificateFile.empty() || set(CURLOPT_CAINFO, options.certificateFile.c_str()));
}

bool perform(const CurlLibrary& curl, const std::string& url, Transfer& transfer, const FetchOptions& options)
{
    CURL* const handle = curl.easyInit();
    if (handle == nullptr) {
        return false;
    }
    const bool succeeded = curl.easySetopt(handle, CURLOPT_URL, url.c_str()) == CURLE_OK
        && curl.easySetopt(handle, CURLOPT_WRITEFUNCTION, &takeReply) == CURLE_OK
        && curl.easySetopt(handle, CURLOPT_WRITEDATA, &transfer) == CURLE_OK
        && setOptions(curl, handle, options, transfer.stop) && curl.easyPerform(handle) == CURLE_OK;
    curl.easyCleanup(handle);
    return succeeded;
}

} // namespace

bool fetchURL(const std::string& url, std::string& output, const FetchOptions& options)
{
    const CurlLibrary* const curl = CurlLibrary::instance();
    if (curl == nullptr || curl->globalInit(CURL_GLOBAL_ALL) != CURLE_OK) {
        return false;
    }
    const NoBrokenPipes noBrokenPipes;
    RequestStop never;
    Transfer transfer{output, 0, options.stop ? options.stop.get() : &never};
    const bool succeeded = perform(*curl, url, transfer, options);
    curl->globalCleanup();
    return succeeded;
}

bool fetchLatestVersion(const std::string& product, std::string& output, const UpdateServer& server)
{
    std::string reply;
    if (!fetchURL("https://" + server.host + "/currentversion/" + product, reply, server.options)) {
        return false;
    }
    if (auto version = versionInReply(std::move(reply))) {
        output = *std::move(version);
    }
    return true;
}

int checkForUpdate(const std::string& product, const std::string& currentVersion, char* buffer, size_t bufferSize,
    const UpdateServer& server)
{
    std::string latest;
    const bool fetched = fetchLatestVersion(product, latest, server);
    if (bufferSize > 0) {
        const size_t length = std::min(latest.size(), bufferSize - 1);
        std::memcpy(buffer, latest.data(), length);
        buffer[length] = '\0';
    }
    if (!fetched) {
        return -1;
    }
    return isNewerVersion(currentVersion, latest) ? 1 : 0;
}

} // namespace frameflow
