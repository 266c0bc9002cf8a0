#pragma once

#include "MovieInput.h"

#include <QByteArrayView>

namespace frameflow {

// FFmpeg's names of the containers of the movie and sound types that are shown, with commas between. None of them is a
// list of other files.
extern const char* const movieContainers;

// Which of them a file is, judged by its contents and, where these do not tell, by its name; null when it is none.
const AVInputFormat* movieContainer(const MovieInput& input, QByteArrayView fileName);

} // namespace frameflow
