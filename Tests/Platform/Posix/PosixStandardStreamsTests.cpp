#include "Platform/Posix/PosixStandardStreams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using namespace std::string_view_literals;
using Status = StandardStreams::InputStatus;

/// A pipe whose ends can be closed one by one.
class Pipe {
public:
    Pipe() {
        if (pipe(ends_) != 0) std::abort();
    }
    ~Pipe() {
        closeReader();
        closeWriter();
    }
    int reader() const { return ends_[0]; }
    int writer() const { return ends_[1]; }
    void closeReader() { closeEnd(0); }
    void closeWriter() { closeEnd(1); }

    void put(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t written = write(ends_[1], bytes.data(), bytes.size());
            if (written < 0) return;
            bytes.remove_prefix(static_cast<std::size_t>(written));
        }
    }
    /// What is in the pipe now; never blocks.
    std::string takeAvailable() const {
        const int flags = fcntl(ends_[0], F_GETFL);
        fcntl(ends_[0], F_SETFL, flags | O_NONBLOCK);
        const std::string taken = takeToEnd();
        fcntl(ends_[0], F_SETFL, flags);
        return taken;
    }
    /// Everything until the writing end is closed.
    std::string takeToEnd() const {
        std::string all;
        std::vector<char> part(65536);
        ssize_t count = 0;
        while ((count = read(ends_[0], part.data(), part.size())) > 0)
            all.append(part.data(), static_cast<std::size_t>(count));
        return all;
    }
    /// Fills the pipe to the last byte.
    void fill() const {
        const int flags = fcntl(ends_[1], F_GETFL);
        fcntl(ends_[1], F_SETFL, flags | O_NONBLOCK);
        while (write(ends_[1], "#", 1) == 1)
            continue;
        fcntl(ends_[1], F_SETFL, flags);
    }

private:
    void closeEnd(int end) {
        if (ends_[end] >= 0) close(ends_[end]);
        ends_[end] = -1;
    }

    int ends_[2] = {-1, -1};
};

class PosixStandardStreamsTest : public testing::Test {
protected:
    Pipe input_, output_, error_;
    std::optional<PosixStandardStreams> storage_{std::in_place, input_.reader(), output_.writer(),
                                                 error_.writer()};
    PosixStandardStreams& streams_ = *storage_;

    std::string readText() {
        const StandardStreams::Input input = streams_.readLine();
        EXPECT_EQ(input.status, Status::line);
        return input.line;
    }
    Status readStatus() { return streams_.readLine().status; }
};

TEST_F(PosixStandardStreamsTest, CutsInputAtLineFeedsOnly) {
    input_.put("one\n\ntwo\r\nnul\0byte\n\xff\xfe\nlast"sv);
    input_.closeWriter();
    EXPECT_EQ(readText(), "one");
    EXPECT_EQ(readText(), "");
    EXPECT_EQ(readText(), "two\r");
    EXPECT_EQ(readText(), std::string("nul\0byte", 8));
    EXPECT_EQ(readText(), "\xff\xfe");
    EXPECT_EQ(readText(), "last");
    EXPECT_EQ(readStatus(), Status::endOfInput);
    EXPECT_EQ(readStatus(), Status::endOfInput);
}

TEST_F(PosixStandardStreamsTest, AnEmptyInputHasNoLine) {
    input_.closeWriter();
    EXPECT_EQ(readStatus(), Status::endOfInput);
}

TEST_F(PosixStandardStreamsTest, AFinalLineFeedMakesNoFurtherLine) {
    input_.put("only\n");
    input_.closeWriter();
    EXPECT_EQ(readText(), "only");
    EXPECT_EQ(readStatus(), Status::endOfInput);
}

TEST_F(PosixStandardStreamsTest, JoinsALineThatArrivesInPieces) {
    std::thread writer([this] {
        for (const char* piece : {"{\"com", "mand\":", "\"stop\"}", "\nnext\n"}) {
            input_.put(piece);
            std::this_thread::sleep_for(5ms);
        }
    });
    EXPECT_EQ(readText(), "{\"command\":\"stop\"}");
    EXPECT_EQ(readText(), "next");
    writer.join();
}

TEST_F(PosixStandardStreamsTest, ReadsFromANonBlockingDescriptor) {
    fcntl(input_.reader(), F_SETFL, O_NONBLOCK);
    std::thread writer([this] {
        std::this_thread::sleep_for(10ms);
        input_.put("late\n");
    });
    EXPECT_EQ(readText(), "late");
    writer.join();
}

TEST_F(PosixStandardStreamsTest, PassesOverALineThatIsTooLong) {
    constexpr std::size_t limit = LineReader::kMaxLineBytes;
    std::thread writer([this] {
        input_.put(std::string(limit, 'x') + "\n");
        input_.put(std::string(limit + 1, 'y') + "\n");
        input_.put("short\n" + std::string(limit + 70000, 'z'));
        input_.closeWriter();
    });
    EXPECT_EQ(readText(), std::string(limit, 'x'));
    EXPECT_EQ(readText(), "");
    EXPECT_EQ(readText(), "short");
    EXPECT_EQ(readText(), "");
    EXPECT_EQ(readStatus(), Status::endOfInput);
    writer.join();
}

TEST_F(PosixStandardStreamsTest, ASignalEndsAWaitingRead) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        storage_.reset();
        storage_.emplace(input_.reader(), output_.writer(), error_.writer());
        std::thread sender([signal] {
            std::this_thread::sleep_for(20ms);
            kill(getpid(), signal);
        });
        EXPECT_EQ(readStatus(), Status::terminate);
        sender.join();
    }
}

TEST_F(PosixStandardStreamsTest, ASignalDuringACommandIsSeenAtTheNextRead) {
    input_.put("first\nsecond\n");
    EXPECT_EQ(readText(), "first");
    raise(SIGTERM);
    EXPECT_EQ(readStatus(), Status::terminate);
    EXPECT_EQ(readStatus(), Status::terminate);
}

TEST_F(PosixStandardStreamsTest, ASignalGoesBeforeTheEndOfInput) {
    input_.closeWriter();
    EXPECT_EQ(readStatus(), Status::endOfInput);
    raise(SIGHUP);
    EXPECT_EQ(readStatus(), Status::terminate);
}

TEST(PosixStandardStreams, PutsTheFormerSignalHandlingBack) {
    struct sigaction before[5], after[5];
    const int signals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ};
    for (int i = 0; i < 5; ++i)
        sigaction(signals[i], nullptr, &before[i]);
    {
        Pipe pipe;
        const PosixStandardStreams streams(pipe.reader(), pipe.writer(), pipe.writer());
        struct sigaction during;
        sigaction(SIGXFSZ, nullptr, &during);
        EXPECT_EQ(during.sa_handler, SIG_IGN);
    }
    for (int i = 0; i < 5; ++i) {
        sigaction(signals[i], nullptr, &after[i]);
        EXPECT_EQ(before[i].sa_handler, after[i].sa_handler);
    }
}

TEST_F(PosixStandardStreamsTest, OutputOfManyThreadsStaysWhole) {
    constexpr int threads = 4, blocks = 50;
    constexpr std::size_t blockBytes = 30000;  // far more than a pipe takes at once
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t) {
        writers.emplace_back([this, t] {
            const std::string block(blockBytes, static_cast<char>('a' + t));
            for (int i = 0; i < blocks; ++i)
                streams_.writeOutput(block);
        });
    }
    std::string all;
    std::thread reader([this, &all] { all = output_.takeToEnd(); });
    for (std::thread& writer : writers)
        writer.join();
    output_.closeWriter();
    reader.join();
    ASSERT_EQ(all.size(), threads * blocks * blockBytes);
    for (std::size_t begin = 0; begin < all.size(); begin += blockBytes)
        ASSERT_EQ(all.substr(begin, blockBytes), std::string(blockBytes, all[begin]));
}

TEST_F(PosixStandardStreamsTest, WaitsForTheReaderOfANonBlockingOutput) {
    fcntl(output_.writer(), F_SETFL, O_NONBLOCK);
    const std::string bytes(1 << 20, 'q');
    std::thread writer([&] {
        streams_.writeOutput(bytes);
        output_.closeWriter();
    });
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(output_.takeToEnd(), bytes);
    writer.join();
}

TEST_F(PosixStandardStreamsTest, AClosedOutputDropsBytesForGood) {
    output_.closeReader();
    streams_.writeOutput("lost\n");
    streams_.writeOutput("lost too\n");
    // Even when the number of the descriptor works again, the stream stays closed.
    Pipe other;
    ASSERT_EQ(dup2(other.writer(), output_.writer()), output_.writer());
    streams_.writeOutput("still lost\n");
    EXPECT_EQ(other.takeAvailable(), "");
}

TEST(PosixStandardStreams, AFullFileIsAClosedOutput) {
    std::string path = testing::TempDir() + "tapwell-streams-XXXXXX";
    const int file = mkstemp(path.data());
    ASSERT_GE(file, 0);
    unlink(path.c_str());
    Pipe pipe;
    PosixStandardStreams streams(pipe.reader(), file, pipe.writer());
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    const rlimit limited{1000, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limited);
    streams.writeOutput(std::string(3000, 'x'));
    setrlimit(RLIMIT_FSIZE, &former);
    streams.writeOutput("more");
    EXPECT_EQ(lseek(file, 0, SEEK_END), 1000);
    close(file);
}

TEST_F(PosixStandardStreamsTest, WritesErrorLinesAsTheyAre) {
    streams_.writeError("[Tapwell][test] hello\n");
    EXPECT_EQ(error_.takeAvailable(), "[Tapwell][test] hello\n");
}

TEST_F(PosixStandardStreamsTest, ErrorLinesWithoutRoomAreCounted) {
    error_.fill();
    for (int i = 0; i < 3; ++i)
        streams_.writeError("dropped\n");
    const std::string filler = error_.takeAvailable();
    EXPECT_EQ(filler.find_first_not_of('#'), std::string::npos);
    streams_.writeError("kept\n");
    EXPECT_EQ(error_.takeAvailable(), "[Tapwell][log] 3 lines dropped\nkept\n");
    streams_.writeError("and on\n");
    EXPECT_EQ(error_.takeAvailable(), "and on\n");
}

TEST_F(PosixStandardStreamsTest, CutsErrorLinesToWhatAPipeTakesWhole) {
    streams_.writeError(std::string(PIPE_BUF - 1, 'x') + "\n");
    EXPECT_EQ(error_.takeAvailable(), std::string(PIPE_BUF - 1, 'x') + "\n");
    streams_.writeError(std::string(PIPE_BUF, 'x') + "\n");
    EXPECT_EQ(error_.takeAvailable(), std::string(PIPE_BUF - 4, 'x') + "\u2026\n");
    std::string umlauts = "a";
    while (umlauts.size() < 2 * PIPE_BUF)
        umlauts += "\u00e4";
    streams_.writeError(umlauts + "\n");
    const std::string cut = error_.takeAvailable();
    EXPECT_EQ(cut.size(), std::size_t{PIPE_BUF - 1});
    EXPECT_EQ(cut.substr(cut.size() - 6), "\u00e4\u2026\n");
}

TEST_F(PosixStandardStreamsTest, AClosedErrorStreamIsNoTrouble) {
    error_.closeReader();
    for (int i = 0; i < 3; ++i)
        streams_.writeError("nobody hears\n");
}

TEST_F(PosixStandardStreamsTest, ErrorLinesOfManyThreadsStayWhole) {
    std::string all;
    std::thread reader([&] { all = error_.takeToEnd(); });
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([this, t] {
            std::string line(200, static_cast<char>('a' + t));
            line += '\n';
            for (int i = 0; i < 200; ++i)
                streams_.writeError(line);
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    error_.closeWriter();
    reader.join();
    std::size_t lines = 0;
    for (std::size_t begin = 0; begin < all.size(); ++lines) {
        const std::size_t end = all.find('\n', begin);
        ASSERT_NE(end, std::string::npos);
        const std::string line = all.substr(begin, end - begin);
        const bool isNotice = line.starts_with("[Tapwell][log] ");
        ASSERT_TRUE(isNotice || line == std::string(200, line.empty() ? '?' : line[0])) << line;
        begin = end + 1;
    }
    EXPECT_GT(lines, 0u);
}

}  // namespace
}  // namespace tapwell
