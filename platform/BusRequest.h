#pragma once

#include "FileUrl.h"
#include "LaunchToken.h"

#include <QByteArray>
#include <QList>

#include <memory>
#include <optional>

#include <gio/gio.h>

namespace frameflow {

// The object on the bus through which a program is asked to show something. Its methods are those of the interface that
// desktops know (org.freedesktop.Application); calls with other parameters never reach the handler.
class BusObject
{
public:
    static constexpr const char* path = "/com/quillory/Frameflow";
    static constexpr const char* interface = "org.freedesktop.Application";

    // The handler is called in the context of the thread that makes the object.
    BusObject(GDBusConnection* bus, GDBusInterfaceMethodCallFunc handler, void* data);
    ~BusObject();
    BusObject(const BusObject&) = delete;
    BusObject& operator=(const BusObject&) = delete;

private:
    GDBusConnection* mBus;
    GDBusNodeInfo* mInfo;
    GDBusInterfaceVTable mCalls{};
    guint mId = 0;
};

// One call of that object. Who called waits until it is answered, or gone.
class BusRequest
{
public:
    enum class Kind
    {
        Activate,
        Open,
        Perform,
    };

    // Takes over the invocation. Absent, and the caller told so, for a call that asks for nothing that could be done.
    static std::optional<BusRequest> from(const char* method, GVariant* parameters, GDBusMethodInvocation* invocation);
    // Those of a call that shows the files, or of one that only brings the program to the front.
    static GVariant* parameters(const QList<FileUrl>& files, const LaunchToken& token);

    Kind kind() const { return mKind; }
    const QList<FileUrl>& files() const { return mFiles; }
    const QByteArray& command() const { return mCommand; }
    const LaunchToken& token() const { return mToken; }
    // Once, from any thread. False tells the caller that there is no such command.
    void answer(bool isKnown);

private:
    struct Drop
    {
        void operator()(GDBusMethodInvocation* invocation) const { g_object_unref(invocation); }
    };

    explicit BusRequest(GDBusMethodInvocation* invocation) : mInvocation(invocation) { }

    std::unique_ptr<GDBusMethodInvocation, Drop> mInvocation;
    Kind mKind = Kind::Activate;
    QList<FileUrl> mFiles;
    QByteArray mCommand;
    LaunchToken mToken;
};

} // namespace frameflow
