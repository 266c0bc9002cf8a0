// A decoder that answers its first request with what the file says: how many descriptors to send along, their seals and
// size, and the packet. Plain, and without sanitizers, so that it starts in a millisecond.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int programSocket = 3;
constexpr size_t mostDescriptors = 10;

struct Orders
{
    uint64_t isRightId; // whether the packet is to begin with the number of its request
    uint32_t descriptors;
    int32_t seals;
    uint32_t size;
    std::array<char, 4096> packet;
};

// The file of the next request; below zero at the end.
int nextFile(uint64_t* id)
{
    std::array<char, 4096> bytes{};
    alignas(cmsghdr) std::array<char, 256> control{};
    iovec part{bytes.data(), bytes.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    if (recvmsg(programSocket, &message, 0) <= 0 || CMSG_FIRSTHDR(&message) == nullptr) {
        return -1;
    }
    int file = -1;
    std::memcpy(id, bytes.data(), sizeof(*id));
    std::memcpy(&file, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof(file));
    return file;
}

void answer(const Orders& orders, size_t length)
{
    alignas(cmsghdr) std::array<char, CMSG_SPACE(mostDescriptors * sizeof(int))> control{};
    std::array<int, mostDescriptors> descriptors{};
    const size_t count = std::min<size_t>(orders.descriptors, mostDescriptors);
    for (size_t i = 0; i < count; ++i) {
        descriptors[i] = memfd_create("pixels", MFD_ALLOW_SEALING);
        static_cast<void>(!ftruncate(descriptors[i], orders.size));
        fcntl(descriptors[i], F_ADD_SEALS, orders.seals);
    }
    iovec part{const_cast<char*>(orders.packet.data()), length};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (count > 0) {
        message.msg_control = control.data();
        message.msg_controllen = CMSG_SPACE(count * sizeof(int));
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(count * sizeof(int));
        std::memcpy(CMSG_DATA(header), descriptors.data(), count * sizeof(int));
    }
    sendmsg(programSocket, &message, MSG_NOSIGNAL);
    for (size_t i = 0; i < count; ++i) {
        close(descriptors[i]);
    }
}

} // namespace

int main()
{
    uint64_t id = 0;
    for (int file = nextFile(&id); file >= 0; file = nextFile(&id)) {
        Orders orders{};
        const ssize_t length = pread(file, &orders, sizeof(orders), 0) - ssize_t(offsetof(Orders, packet));
        close(file);
        if (length <= 0) {
            return 1;
        }
        if (orders.isRightId != 0) {
            std::memcpy(orders.packet.data(), &id, std::min(sizeof(id), size_t(length)));
        }
        answer(orders, size_t(length));
    }
    return 0;
}
