// A decoder process that a file has taken over, from its start to the picture that the program would draw.

#include "DecoderProcess.h"
#include "Packets.h"
#include "PictureMemory.h"

#include <filesystem>

using namespace frameflow;
using namespace frameflow::fuzz;

namespace {

QByteArray hostileDecoder()
{
    static const std::string path = std::filesystem::read_symlink("/proc/self/exe").replace_filename("hostile_decoder");
    return QByteArray::fromStdString(path);
}

template <typename Number>
void append(QByteArray& to, Number number)
{
    to.append(reinterpret_cast<const char*>(&number), sizeof(number));
}

DecodeRequest requestFrom(Input& input)
{
    DecodeRequest request;
    request.wanted = Wanted(input.ConsumeIntegralInRange(0, 2));
    request.longestSide = input.ConsumeBool() ? 0 : input.ConsumeIntegralInRange(1, 300);
    if (input.ConsumeBool()) {
        request.frame = {{4, 3}, 1, FitMode::Stretch}; // as in the honest answer
    }
    return request;
}

QByteArray ordersFrom(Input& input)
{
    static const QByteArray honest = honestAnswer(1);
    QByteArray orders;
    append(orders, quint64(input.ConsumeIntegralInRange(0, 7) != 0));
    append(orders, input.ConsumeBool() ? 1 : input.ConsumeIntegralInRange(0, 10));
    append(orders,
        input.ConsumeBool() ? F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL
                            : input.ConsumeIntegralInRange(0, 15));
    append(orders, input.ConsumeIntegralInRange(0, 1 << 16));
    return orders + dishonest(honest, input);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static std::unique_ptr<DecoderProcess> process;
    static const std::shared_ptr<PictureMemory> memory = PictureMemory::create(1 << 20);
    if (!process || !process->isUsable()) {
        process = DecoderProcess::start(hostileDecoder(), {});
        require(process != nullptr);
    }
    Input input(data, size);
    const DecodeRequest request = requestFrom(input);
    const bool hasMemory = input.ConsumeBool();
    const FileDescriptor file = fileWith(ordersFrom(input));
    const DecodedPicture picture = process->decode(file, request, hasMemory ? memory : nullptr);
    require(picture.error == DecodeError::None || picture.pixels.isNull());
    require(picture.orientation >= 1 && picture.orientation <= 8);
    lookAt(picture.pixels);
    lookAt(picture.reduced);
    return 0;
}
