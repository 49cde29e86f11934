#pragma once

#include <QtGlobal>

#include <optional>

/// What only some operating systems can do or tell. Where one cannot, the result is empty and the figure is left out.
namespace processMeasure
{

/// Confines this process, with the threads and processes that it starts from now on, to one processor: the last one
/// that it may use, because the first one often serves the devices. Returns the processor's number. Call it before any
/// thread is started.
std::optional<int> pinToOneProcessor();

/// Processor time that a process of the same user has used so far, user and system together, in seconds.
std::optional<double> processorSeconds(qint64 processId);

/// Bytes of a process that are in memory now.
std::optional<double> residentBytes(qint64 processId);

/// How many processes wanted to run, on average over the last minute.
std::optional<double> loadAverage();

} // namespace processMeasure
