#pragma once

#include "Platform/Linux/PocketSphinxModel.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>

struct ps_decoder_s;

namespace tapwell {

/// One decoder of the PocketSphinx library. One thread at a time; decoders are independent of each
/// other. Audio is mono at 16 kHz.
class PocketSphinxDecoder {
public:
    enum class Effort {
        live,      ///< one pass with narrow beams, about a fifth of a processor
        thorough,  ///< the library's defaults: three passes
    };

    /// Loads the model, which takes about half a second. Throws RecorderError.
    PocketSphinxDecoder(const PocketSphinxModel& model, Effort effort);

    void beginUtterance();
    void endUtterance();
    /// Goes on with the utterance.
    void process(std::span<const std::int16_t> samples);
    /// The same for an utterance that is all there; its level is taken from the whole of it.
    void processWhole(std::span<const std::int16_t> samples);
    /// Whether the last samples were speech.
    bool hearsSpeech() const;
    /// The words of the utterance so far, without marks of pauses, noises and pronunciations.
    std::string hypothesis() const;

private:
    struct Release {
        void operator()(ps_decoder_s* decoder) const;
    };
    std::unique_ptr<ps_decoder_s, Release> decoder_;
};

}  // namespace tapwell
