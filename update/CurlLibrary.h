#pragma once

#include <curl/curl.h>

namespace frameflow {

// The functions of the transfer library, which is loaded as a module for the first request: it brings thirty others
// with it, and most runs of the program make no request.
struct CurlLibrary
{
    decltype(&curl_global_init) globalInit;
    decltype(&curl_easy_init) easyInit;
    decltype(&curl_easy_setopt) easySetopt;
    decltype(&curl_easy_perform) easyPerform;
    decltype(&curl_easy_cleanup) easyCleanup;
    decltype(&curl_global_cleanup) globalCleanup;

    // Loads it when that has not been done yet. Null when it is missing. Any thread.
    static const CurlLibrary* instance();
};

} // namespace frameflow
