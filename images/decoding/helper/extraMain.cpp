#include "DecoderMain.h"
#include "ExtraTable.h"

int main(int argc, char** argv)
{
    frameflow::runDecoder(argc, argv, &frameflow::allExtraDecoders());
}
