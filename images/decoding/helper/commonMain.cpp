#include "DecoderMain.h"

int main(int argc, char** argv)
{
    frameflow::runDecoder(argc, argv, nullptr);
}
