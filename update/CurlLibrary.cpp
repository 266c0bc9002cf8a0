#include "CurlLibrary.h"

#include <mutex>

#include <dlfcn.h>

namespace frameflow {

namespace {

template <typename Function>
bool find(void* module, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(dlsym(module, name));
    return function != nullptr;
}

bool load(CurlLibrary& library)
{
    // Never unloaded: a request that was given up at the end of the program may still be in it.
    void* const module = dlopen("libcurl.so.4", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    return module != nullptr && find(module, "curl_global_init", library.globalInit)
        && find(module, "curl_easy_init", library.easyInit) && find(module, "curl_easy_setopt", library.easySetopt)
        && find(module, "curl_easy_perform", library.easyPerform)
        && find(module, "curl_easy_cleanup", library.easyCleanup)
        && find(module, "curl_global_cleanup", library.globalCleanup);
}

} // namespace

const CurlLibrary* CurlLibrary::instance()
{
    static std::once_flag once;
    static CurlLibrary library;
    static bool isThere = false;
    std::call_once(once, [] { isThere = load(library); });
    return isThere ? &library : nullptr;
}

} // namespace frameflow
