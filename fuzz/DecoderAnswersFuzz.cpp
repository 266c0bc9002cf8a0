// What comes over the socket between the program and a decoder, from a decoder that a file has taken over.

#include "Packets.h"
#include "PictureMemory.h"

using namespace frameflow;
using namespace frameflow::fuzz;

namespace {

void takeAnswer(const AnswerMessage& answer)
{
    if (!answer.pixels) {
        return;
    }
    const BitmapLayout& layout = answer.pixels->layout;
    if (answer.pixels->memory.isOpen()) {
        if (const auto bitmap = mapSealedWithCopy(answer.pixels->memory, layout, answer.reducedSize)) {
            lookAt(bitmap->pixels);
            lookAt(bitmap->copy);
        }
        return;
    }
    static const std::shared_ptr<PictureMemory> given = PictureMemory::create(1 << 20);
    if (const auto pixels = PictureMemory::image(given, layout)) {
        lookAt(*pixels);
    }
    if (const auto copy = PictureMemory::imageBehind(given, layout, answer.reducedSize)) {
        lookAt(*copy);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const QByteArray honest = honestAnswer(1);
    Input input(data, size);
    const SocketPair pair;
    std::vector<FileDescriptor> memories(input.ConsumeIntegralInRange<size_t>(0, 9));
    std::vector<int> descriptors;
    for (FileDescriptor& memory : memories) {
        memory = strangeMemory(input);
        descriptors.push_back(memory.number());
    }
    const bool isRequest = input.ConsumeBool();
    sendBare(pair.one.number(), dishonest(honest, input), descriptors);
    shutdown(pair.one.number(), SHUT_WR); // so that no packet at all is the end
    AnswerMessage answer;
    RequestMessage request;
    if (isRequest) {
        static_cast<void>(receiveRequest(pair.other.number(), request));
    } else if (receiveAnswer(pair.other.number(), answer) == MessageStatus::Received) {
        takeAnswer(answer);
    }
    return 0;
}
