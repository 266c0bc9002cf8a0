#pragma once

#include "FileSequence.h"
#include "SerialQueue.h"

#include <QByteArray>

#include <functional>
#include <vector>

namespace frameflow::bench {

// Milliseconds.
double timed(const std::function<void()>& work);
double median(std::vector<double> values);
void report(const char* name, double figure, const char* reference, double referenceTime, double limit);
// Ends the program with what went wrong.
void require(bool succeeded, const char* what);

// Files in folders of 200, three in four of them displayable.
void makeTree(const QByteArray& root, int files);
void runFind(const QByteArray& root);
// As a recent folder is opened; returns when it is done.
void collect(FileSequence& sequence, SerialQueue& queue, const QByteArray& root);

} // namespace frameflow::bench
