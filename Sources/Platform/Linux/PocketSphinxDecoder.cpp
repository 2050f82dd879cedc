#include "Platform/Linux/PocketSphinxDecoder.h"

#include "Platform/RecorderError.h"

#include <pocketsphinx.h>
#include <sphinxbase/err.h>

#include <mutex>
#include <sstream>

namespace tapwell {
namespace {

/// The library logs pages to standard error, which carries our own lines.
void silenceLibrary() {
    static std::once_flag once;
    std::call_once(once, [] { err_set_logfp(nullptr); });
}

cmd_ln_t* makeConfiguration(const PocketSphinxModel& model, PocketSphinxDecoder::Effort effort) {
    cmd_ln_t* const configuration = cmd_ln_init(nullptr, ps_args(), TRUE, nullptr);
    if (configuration == nullptr) return nullptr;
    cmd_ln_set_str_r(configuration, "-hmm", model.acoustic.c_str());
    cmd_ln_set_str_r(configuration, "-lm", model.language.c_str());
    cmd_ln_set_str_r(configuration, "-dict", model.dictionary.c_str());
    if (effort == PocketSphinxDecoder::Effort::live) {
        // Narrower beams, and a look of a tenth of a second ahead: a third of the work for three
        // more errors in a hundred words (Benchmarks/README.md).
        cmd_ln_set_boolean_r(configuration, "-fwdflat", FALSE);
        cmd_ln_set_int_r(configuration, "-maxhmmpf", 3000);
        cmd_ln_set_int_r(configuration, "-maxwpf", 20);
        cmd_ln_set_int_r(configuration, "-pl_window", 10);
    }
    return configuration;
}

}  // namespace

void PocketSphinxDecoder::Release::operator()(ps_decoder_s* decoder) const {
    ps_free(decoder);
}

PocketSphinxDecoder::PocketSphinxDecoder(const PocketSphinxModel& model, Effort effort) {
    silenceLibrary();
    if (const auto damaged = model.damagedFile())
        throw RecorderError("PocketSphinx", 2,
                            "the speech model's file " + damaged->string() +
                                " is missing or damaged; reinstall the package pocketsphinx-en-us");
    cmd_ln_t* const configuration = makeConfiguration(model, effort);
    if (configuration != nullptr) {
        decoder_.reset(ps_init(configuration));
        cmd_ln_free_r(configuration);
    }
    if (!decoder_)
        throw RecorderError("PocketSphinx", 1,
                            "cannot load the speech model in " +
                                model.acoustic.parent_path().string() +
                                "; reinstall the package pocketsphinx-en-us");
    ps_start_stream(decoder_.get());
}

void PocketSphinxDecoder::beginUtterance() {
    ps_start_utt(decoder_.get());
}

void PocketSphinxDecoder::endUtterance() {
    ps_end_utt(decoder_.get());
}

void PocketSphinxDecoder::process(std::span<const std::int16_t> samples) {
    ps_process_raw(decoder_.get(), samples.data(), samples.size(), FALSE, FALSE);
}

void PocketSphinxDecoder::processWhole(std::span<const std::int16_t> samples) {
    ps_process_raw(decoder_.get(), samples.data(), samples.size(), FALSE, TRUE);
}

bool PocketSphinxDecoder::hearsSpeech() const {
    return ps_get_in_speech(decoder_.get()) != 0;
}

std::string PocketSphinxDecoder::hypothesis() const {
    int32 score = 0;
    const char* const text = ps_get_hyp(decoder_.get(), &score);
    if (text == nullptr) return "";
    std::istringstream words(text);
    std::string result;
    for (std::string word; words >> word;) {
        if (word.front() == '<' || word.front() == '[') continue;
        if (const auto variant = word.find('('); variant != std::string::npos && variant > 0)
            word.erase(variant);
        result += (result.empty() ? "" : " ") + word;
    }
    return result;
}

}  // namespace tapwell
