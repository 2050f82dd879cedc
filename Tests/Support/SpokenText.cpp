#include "Support/SpokenText.h"

#include "Support/ChildProcess.h"
#include "Support/TemporaryDirectory.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace tapwell::test {
namespace {

void runTool(const std::vector<std::string>& arguments) {
    const auto output = ChildProcess::run(arguments);
    if (output.ending.exitStatus != 0)
        throw std::runtime_error(arguments.at(0) + " failed: " + output.standardError);
}

std::vector<float> readFloats(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    return samples;
}

std::vector<std::string> wordsOf(const std::string& text) {
    std::string plain;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        plain += std::isalpha(byte) || c == '\'' ? static_cast<char>(std::tolower(byte)) : ' ';
    }
    std::istringstream stream(plain);
    return {std::istream_iterator<std::string>(stream), {}};
}

}  // namespace

std::vector<float> spokenText(const std::string& voice, const std::string& text, int sampleRate) {
    const TemporaryDirectory folder;
    runTool({"flite", "-voice", voice, "-t", text, "-o", folder.file("spoken.wav")});
    runTool({"ffmpeg", "-nostdin", "-v", "error", "-i", folder.file("spoken.wav"), "-ac", "1",
             "-ar", std::to_string(sampleRate), "-f", "f32le", folder.file("spoken.raw")});
    const std::vector<float> speech = readFloats(folder.file("spoken.raw"));
    const auto pause = static_cast<std::size_t>(sampleRate) / 2;
    std::vector<float> samples(pause, 0.0F);
    samples.insert(samples.end(), speech.begin(), speech.end());
    samples.insert(samples.end(), pause, 0.0F);
    return samples;
}

SpokenSentences::SpokenSentences(int sampleRate)
    : texts{
          "The meeting will begin at nine o'clock on Monday morning.",
          "Please send the report to all the members of the committee before the end of the week.",
          "We have decided to move the office to another building in the center of the city."} {
    const char* const voices[] = {"rms", "slt", "rms"};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const auto sentence = spokenText(voices[i], texts[i], sampleRate);
        samples.insert(samples.end(), sentence.begin(), sentence.end());
        for (const std::string& word : wordsOf(texts[i]))
            wholeText += (wholeText.empty() ? "" : " ") + word;
    }
}

double wordErrorRate(const std::string& reference, const std::string& hypothesis) {
    const auto expected = wordsOf(reference);
    const auto heard = wordsOf(hypothesis);
    // The edit distance, row by row.
    std::vector<std::size_t> row(heard.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= expected.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j < row.size(); ++j) {
            const std::size_t replaced = diagonal + (expected[i - 1] == heard[j - 1] ? 0U : 1U);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return static_cast<double>(row.back()) / static_cast<double>(expected.size());
}

}  // namespace tapwell::test
