// Calls from other programs over the session's bus, through a real connection of two ends.

#include "BusRequest.h"

#include <array>
#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>

#include <fuzzer/FuzzedDataProvider.h>
#include <gio/gio.h>
#include <sys/socket.h>

using namespace frameflow;

namespace {

struct Release
{
    void operator()(void* object) const { g_object_unref(object); }
};
using Message = std::unique_ptr<GDBusMessage, Release>;

struct Method
{
    const char* name;
    const char* type;
};
constexpr std::array methods{
    Method{"Open", "(asa{sv})"}, Method{"ActivateAction", "(sava{sv})"}, Method{"Activate", "(a{sv})"}};

GDBusConnection* connectionOn(int socket, GDBusConnectionFlags flags)
{
    GSocket* const plain = g_socket_new_from_fd(socket, nullptr);
    GSocketConnection* const stream = g_socket_connection_factory_create_connection(plain);
    g_object_unref(plain);
    char* const guid = g_dbus_generate_guid();
    const bool isServer = (flags & G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_SERVER) != 0;
    GDBusConnection* const connection
        = g_dbus_connection_new_sync(G_IO_STREAM(stream), isServer ? guid : nullptr, flags, nullptr, nullptr, nullptr);
    g_free(guid);
    g_object_unref(stream);
    if (connection == nullptr) {
        std::abort();
    }
    return connection;
}

void called(GDBusConnection*, const char*, const char*, const char*, const char* method, GVariant* parameters,
    GDBusMethodInvocation* invocation, void*)
{
    if (auto request = BusRequest::from(method, parameters, invocation)) {
        for (const FileUrl& file : request->files()) {
            if (!file.path().startsWith('/') || file.path().contains('\0')) {
                std::abort();
            }
        }
        request->answer(request->kind() != BusRequest::Kind::Perform);
    }
}

// The end of the other program.
GDBusConnection* caller()
{
    static GDBusConnection* const connection = [] {
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            std::abort();
        }
        GDBusConnection* server = nullptr;
        std::thread accepting([&] {
            server = connectionOn(ends[0],
                static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_SERVER
                    | G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_ALLOW_ANONYMOUS));
        });
        GDBusConnection* const client = connectionOn(ends[1], G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT);
        accepting.join();
        static const BusObject object(server, &called, nullptr);
        return client;
    }();
    return connection;
}

Message callFrom(FuzzedDataProvider& input)
{
    if (input.ConsumeBool()) {
        auto bytes = input.ConsumeRemainingBytes<guchar>();
        return Message(g_dbus_message_new_from_blob(bytes.data(), bytes.size(), G_DBUS_CAPABILITY_FLAGS_NONE, nullptr));
    }
    const Method& method = input.PickValueInArray(methods);
    const auto bytes = input.ConsumeRemainingBytes<guchar>();
    GBytes* const owned = g_bytes_new(bytes.data(), bytes.size());
    GVariant* const raw = g_variant_ref_sink(g_variant_new_from_bytes(G_VARIANT_TYPE(method.type), owned, FALSE));
    GVariant* const parameters = g_variant_get_normal_form(raw);
    Message message(g_dbus_message_new_method_call(nullptr, BusObject::path, BusObject::interface, method.name));
    g_dbus_message_set_body(message.get(), parameters);
    g_variant_unref(parameters);
    g_variant_unref(raw);
    g_bytes_unref(owned);
    return message;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider input(data, size);
    const Message message = callFrom(input);
    const bool isCall = message && g_dbus_message_get_message_type(message.get()) == G_DBUS_MESSAGE_TYPE_METHOD_CALL
        && (g_dbus_message_get_flags(message.get()) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) == 0;
    if (!isCall) {
        return 0;
    }
    bool isAnswered = false;
    constexpr int patience = 5000; // milliseconds
    g_dbus_connection_send_message_with_reply(
        caller(), message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, patience, nullptr, nullptr,
        [](GObject* connection, GAsyncResult* result, void* answered) {
            GDBusMessage* const reply
                = g_dbus_connection_send_message_with_reply_finish(G_DBUS_CONNECTION(connection), result, nullptr);
            if (reply != nullptr) {
                g_object_unref(reply);
            }
            *static_cast<bool*>(answered) = true;
        },
        &isAnswered);
    while (!isAnswered) {
        g_main_context_iteration(nullptr, TRUE);
    }
    return 0;
}
