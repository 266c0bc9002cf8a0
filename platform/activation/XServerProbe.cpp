#include "XServerProbe.h"

#include <memory>

#include <xcb/xcb.h>

namespace frameflow {

namespace {

struct Disconnect
{
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

} // namespace

bool canReachXServer()
{
    const std::unique_ptr<xcb_connection_t, Disconnect> connection(xcb_connect(nullptr, nullptr));
    return xcb_connection_has_error(connection.get()) == 0;
}

} // namespace frameflow
