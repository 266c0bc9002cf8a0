#pragma once

namespace frameflow {

// How loud a person wants movies to be.
struct MovieLoudness
{
    int volume = 100; // in hundredths
    bool isMuted = false;
};

} // namespace frameflow
