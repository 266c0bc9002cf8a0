#pragma once

#include <mpv/client.h>
#include <mpv/render.h>

namespace frameflow {

// The functions of the player library, which is loaded as a module when the first movie is opened.
struct MpvLibrary
{
    decltype(&mpv_create) create;
    decltype(&mpv_initialize) initialize;
    decltype(&mpv_terminate_destroy) terminateDestroy;
    decltype(&mpv_set_option_string) setOptionString;
    decltype(&mpv_set_property) setProperty;
    decltype(&mpv_get_property) getProperty;
    decltype(&mpv_observe_property) observeProperty;
    decltype(&mpv_command) command;
    decltype(&mpv_wait_event) waitEvent;
    decltype(&mpv_wakeup) wakeup;
    decltype(&mpv_render_context_create) renderContextCreate;
    decltype(&mpv_render_context_set_update_callback) renderContextSetUpdateCallback;
    decltype(&mpv_render_context_update) renderContextUpdate;
    decltype(&mpv_render_context_get_info) renderContextGetInfo;
    decltype(&mpv_render_context_render) renderContextRender;
    decltype(&mpv_render_context_free) renderContextFree;

    // Loads it, which takes some tens of milliseconds, when that has not been done yet. Null when it is missing. Any
    // thread.
    static const MpvLibrary* instance();
    // Whether loading it has failed.
    static bool isMissing();
};

} // namespace frameflow
