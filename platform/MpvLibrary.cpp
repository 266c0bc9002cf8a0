#include "MpvLibrary.h"

#include <atomic>
#include <mutex>

#include <dlfcn.h>

namespace frameflow {

namespace {

std::atomic<bool> missing{false};

template <typename Function>
bool find(void* module, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(dlsym(module, name));
    return function != nullptr;
}

bool findAll(void* module, MpvLibrary& library)
{
    return find(module, "mpv_create", library.create) && find(module, "mpv_initialize", library.initialize)
        && find(module, "mpv_terminate_destroy", library.terminateDestroy)
        && find(module, "mpv_set_option_string", library.setOptionString)
        && find(module, "mpv_set_property", library.setProperty)
        && find(module, "mpv_get_property", library.getProperty)
        && find(module, "mpv_observe_property", library.observeProperty) && find(module, "mpv_command", library.command)
        && find(module, "mpv_wait_event", library.waitEvent) && find(module, "mpv_wakeup", library.wakeup)
        && find(module, "mpv_render_context_create", library.renderContextCreate)
        && find(module, "mpv_render_context_set_update_callback", library.renderContextSetUpdateCallback)
        && find(module, "mpv_render_context_update", library.renderContextUpdate)
        && find(module, "mpv_render_context_get_info", library.renderContextGetInfo)
        && find(module, "mpv_render_context_render", library.renderContextRender)
        && find(module, "mpv_render_context_free", library.renderContextFree);
}

void saysNothing(const char* /*file*/, int /*line*/, const char* /*function*/, int /*error*/, const char* /*format*/,
    ...) // NOLINT(cert-dcl50-cpp): the shape that the sound library calls
{
}

// The libraries below the player write their troubles to the terminal: a machine without sound is none, and what is
// wrong with a file is told otherwise.
void quietLibraries(void* module)
{
    using Handler = void (*)(const char*, int, const char*, int, const char*, ...);
    int (*setHandler)(Handler) = nullptr;
    if (find(module, "snd_lib_error_set_handler", setHandler)) {
        setHandler(saysNothing);
    }
    void (*setLevel)(int) = nullptr;
    if (find(module, "av_log_set_level", setLevel)) {
        constexpr int quiet = -8;
        setLevel(quiet);
    }
}

bool load(MpvLibrary& library)
{
    // Never unloaded: its own threads may still run when its last user has gone.
    void* const module = dlopen("libmpv.so.2", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (module == nullptr || !findAll(module, library)) {
        return false;
    }
    quietLibraries(module);
    return true;
}

} // namespace

const MpvLibrary* MpvLibrary::instance()
{
    static std::once_flag once;
    static MpvLibrary library;
    std::call_once(once, [] { missing = !load(library); });
    return missing ? nullptr : &library;
}

bool MpvLibrary::isMissing()
{
    return missing;
}

} // namespace frameflow
