#include "DecoderPoolState.h"

#include <algorithm>
#include <utility>
