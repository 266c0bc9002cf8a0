#include "BusRequest.h"

#include "FileUrls.h"

namespace frameflow {

namespace {

constexpr const char* description = R"(<node>
  <interface name="org.freedesktop.Application">
    <method name="Activate">
      <arg type="a{sv}" name="platform_data" direction="in"/>
    </method>
    <method name="Open">
      <arg type="as" name="uris" direction="in"/>
      <arg type="a{sv}" name="platform_data" direction="in"/>
    </method>
    <method name="ActivateAction">
      <arg type="s" name="action_name" direction="in"/>
      <arg type="av" name="parameter" direction="in"/>
      <arg type="a{sv}" name="platform_data" direction="in"/>
    </method>
  </interface>
</node>)";

constexpr const char* startupIdKey = "desktop-startup-id";
constexpr const char* activationTokenKey = "activation-token";

using Value = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

// Empty for an absent value, and for one of another type.
QByteArray textIn(GVariant* dictionary, const char* key)
{
    const Value value(g_variant_lookup_value(dictionary, key, G_VARIANT_TYPE_STRING), &g_variant_unref);
    return value ? LaunchToken::checked(g_variant_get_string(value.get(), nullptr)) : QByteArray();
}

LaunchToken tokenIn(GVariant* platformData)
{
    return {textIn(platformData, startupIdKey), textIn(platformData, activationTokenKey)};
}

// Only as many as are taken.
QList<FileUrl> filesIn(GVariant* urls)
{
    QList<QByteArray> texts;
    GVariantIter each;
    g_variant_iter_init(&each, urls);
    const char* text = nullptr;
    while (texts.size() < mostFilesHandedOver && g_variant_iter_next(&each, "&s", &text) != FALSE) {
        texts.append(text);
    }
    return filesFromUrls(texts);
}

void addText(GVariantBuilder* dictionary, const char* key, const QByteArray& text)
{
    if (!text.isEmpty()) {
        g_variant_builder_add(dictionary, "{sv}", key, g_variant_new_string(text.constData()));
    }
}

} // namespace

BusObject::BusObject(GDBusConnection* bus, GDBusInterfaceMethodCallFunc handler, void* data)
    : mBus(bus), mInfo(g_dbus_node_info_new_for_xml(description, nullptr))
{
    mCalls.method_call = handler;
    mId = g_dbus_connection_register_object(bus, path, mInfo->interfaces[0], &mCalls, data, nullptr, nullptr);
}

BusObject::~BusObject()
{
    if (mId != 0) {
        g_dbus_connection_unregister_object(mBus, mId);
    }
    g_dbus_node_info_unref(mInfo);
}

std::optional<BusRequest> BusRequest::from(const char* method, GVariant* parameters, GDBusMethodInvocation* invocation)
{
    BusRequest request(invocation);
    const QByteArray name(method);
    // The last of them in every case.
    const Value platformData(
        g_variant_get_child_value(parameters, g_variant_n_children(parameters) - 1), &g_variant_unref);
    request.mToken = tokenIn(platformData.get());
    const Value first(g_variant_get_child_value(parameters, 0), &g_variant_unref);
    if (name == "Open") {
        request.mKind = Kind::Open;
        request.mFiles = filesIn(first.get());
    } else if (name == "ActivateAction") {
        request.mKind = Kind::Perform;
        request.mCommand = g_variant_get_string(first.get(), nullptr);
        const Value values(g_variant_get_child_value(parameters, 1), &g_variant_unref);
        if (g_variant_n_children(values.get()) > 0) {
            request.answer(false); // no command takes any
            return std::nullopt;
        }
    }
    return request;
}

GVariant* BusRequest::parameters(const QList<FileUrl>& files, const LaunchToken& token)
{
    GVariantBuilder platformData;
    g_variant_builder_init(&platformData, G_VARIANT_TYPE_VARDICT);
    addText(&platformData, startupIdKey, token.startupId);
    addText(&platformData, activationTokenKey, token.activationToken);
    if (files.isEmpty()) {
        return g_variant_new("(a{sv})", &platformData);
    }
    GVariantBuilder urls;
    g_variant_builder_init(&urls, G_VARIANT_TYPE_STRING_ARRAY);
    for (const FileUrl& file : files) {
        g_variant_builder_add(&urls, "s", file.encoded().constData());
    }
    return g_variant_new("(asa{sv})", &urls, &platformData);
}

void BusRequest::answer(bool isKnown)
{
    GDBusMethodInvocation* const invocation = mInvocation.release(); // taken over by what follows
    if (isKnown) {
        g_dbus_method_invocation_return_value(invocation, nullptr);
    } else {
        g_dbus_method_invocation_return_error_literal(
            invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS, "There is no such command.");
    }
}

} // namespace frameflow
