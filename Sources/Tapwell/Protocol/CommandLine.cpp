#include "Tapwell/Protocol/CommandLine.h"

#include "Tapwell/Diagnostics/TextFormat.h"

#include <nlohmann/json.hpp>

namespace tapwell {
namespace {

constexpr int kMaxDepth = 512;

/// Picks the two members out of the token stream, so that a hostile line costs no tree.
class CommandReader final : public nlohmann::json::json_sax_t {
public:
    std::optional<Command> command() const {
        if (!rootIsObject_ || !cmd_) return std::nullopt;
        return Command{*cmd_, outputPath_};
    }

    bool null() override { return value(std::nullopt); }
    bool boolean(bool) override { return value(std::nullopt); }
    bool number_integer(number_integer_t) override { return value(std::nullopt); }
    bool number_unsigned(number_unsigned_t) override { return value(std::nullopt); }
    bool number_float(number_float_t, const string_t&) override { return value(std::nullopt); }
    bool binary(binary_t&) override { return false; }
    bool string(string_t& text) override { return value(std::move(text)); }

    bool start_object(std::size_t) override {
        if (depth_ == 0) rootIsObject_ = true;
        return open();
    }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(); }
    bool end_array() override { return close(); }
    bool key(string_t& name) override {
        if (depth_ == 1) key_ = std::move(name);
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override {
        return false;
    }

private:
    bool open() {
        if (depth_ == 1) value(std::nullopt);
        return ++depth_ <= kMaxDepth;
    }
    bool close() {
        --depth_;
        return true;
    }
    bool value(std::optional<std::string> text) {
        if (depth_ == 1 && rootIsObject_) {
            if (key_ == "cmd")
                cmd_ = std::move(text);
            else if (key_ == "outputPath")
                outputPath_ = std::move(text);
        }
        return true;
    }

    int depth_ = 0;
    bool rootIsObject_ = false;
    std::string key_;
    std::optional<std::string> cmd_;
    std::optional<std::string> outputPath_;
};

}  // namespace

std::optional<Command> parseCommand(std::string_view line) {
    const std::string_view text = trimmed(line);
    if (text.empty()) return std::nullopt;
    // The parser takes a NUL byte for the end of the text and would overlook what follows.
    if (text.find('\0') != std::string_view::npos) return std::nullopt;
    CommandReader reader;
    if (!nlohmann::json::sax_parse(text.begin(), text.end(), &reader)) return std::nullopt;
    return reader.command();
}

}  // namespace tapwell
