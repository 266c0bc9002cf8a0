#pragma once

#include <stdexcept>
#include <string>

namespace frameflow {

// A programming error caught at run time: never caused by a file's contents or by the user.
class AssertionFailure : public std::logic_error
{
public:
    AssertionFailure(std::string source, int line, const std::string& message)
        : std::logic_error(message), mSource(std::move(source)), mLine(line)
    {
    }

    const std::string& source() const { return mSource; }
    int line() const { return mLine; }

private:
    std::string mSource;
    int mLine;
};

} // namespace frameflow
