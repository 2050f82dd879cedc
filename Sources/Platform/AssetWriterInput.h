#pragma once

#include "Platform/SampleBuffer.h"

namespace tapwell {

/// Takes the samples of one track. Used from one serial queue, except where said.
class AssetWriterInput {
public:
    virtual ~AssetWriterInput() = default;

    /// Set before writing starts. True asks to spread the work over time; false lets the writer
    /// buffer and use more cores.
    virtual void setExpectsMediaDataInRealTime(bool expects) = 0;
    virtual bool expectsMediaDataInRealTime() const = 0;

    /// Whether `append` can take a buffer now. Any thread. May be false for a while and become true
    /// by itself. Stays true when the writer fails, so that a queue in front of the input runs
    /// empty; false before writing starts and after the input is marked as finished.
    virtual bool isReadyForMoreMediaData() const = 0;

    /// Appends frames (32-bit float PCM in the source format). False when the writer has failed or
    /// is not writing; the buffer is then lost, and the writer's status and error say why.
    virtual bool append(const SampleBuffer& buffer) = 0;

    /// No buffer follows.
    virtual void markAsFinished() = 0;
};

}  // namespace tapwell
