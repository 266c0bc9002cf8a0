#pragma once

#include <QThreadPool>

#include <functional>

namespace frameflow {

// Spreads work on the rows of a picture over the cores, on threads of its own. One caller at a time.
class Bands
{
public:
    Bands();

    // Calls the work for bands of rows, from first up to but not including last, that together make up all rows; on
    // several threads at once, this one among them. Returns when all of it is done.
    void forEach(int rows, const std::function<void(int first, int last)>& work);

private:
    QThreadPool mPool;
};

} // namespace frameflow
