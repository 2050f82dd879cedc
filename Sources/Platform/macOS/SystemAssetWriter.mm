#include "Platform/macOS/SystemAssetWriter.h"

#include "Platform/macOS/SystemAssetWriterInput.h"
#include "Platform/macOS/SystemError.h"
#include "Platform/macOS/SystemSampleBuffer.h"

#include <AVFoundation/AVFoundation.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace tapwell {
namespace {

static_assert(int(AssetWriter::Status::unknown) == int(AVAssetWriterStatusUnknown));
static_assert(int(AssetWriter::Status::writing) == int(AVAssetWriterStatusWriting));
static_assert(int(AssetWriter::Status::completed) == int(AVAssetWriterStatusCompleted));
static_assert(int(AssetWriter::Status::failed) == int(AVAssetWriterStatusFailed));
static_assert(int(AssetWriter::Status::cancelled) == int(AVAssetWriterStatusCancelled));

RecorderError cannotCreate(const std::string& path, const std::string& domain, int code,
                           const std::string& reason) {
    return RecorderError(domain, code, "Cannot create recording file \"" + path + "\": " + reason);
}

void refuseExisting(const std::string& path) {
    struct stat found {};
    if (::lstat(path.c_str(), &found) == 0)
        throw cannotCreate(path, "POSIX", EEXIST, std::generic_category().message(EEXIST));
}

/// Nil with the reason.
AVAssetWriter* makeWriter(const std::string& path, std::optional<RecorderError>& outReason) {
    NSString* text = [NSString stringWithUTF8String:path.c_str()];
    if (text == nil) {
        outReason = cannotCreate(path, "POSIX", EILSEQ, "the path is no UTF-8");
        return nil;
    }
    NSURL* url = [NSURL fileURLWithPath:text];
    NSError* error = nil;
    AVAssetWriter* writer = [[AVAssetWriter alloc] initWithURL:url
                                                      fileType:AVFileTypeAppleM4A
                                                         error:&error];
    if (writer != nil) return writer;
    const RecorderError reason = recorderError(error);
    outReason = cannotCreate(path, reason.domain(), reason.code(), reason.description());
    return nil;
}

/// Of types that have no fragments the system refuses them; the file is then whole only at its end.
void askForFragments(AVAssetWriter* writer) {
    @try {
        writer.movieFragmentInterval = CMTimeMake(1, 5);
    } @catch (NSException*) {
    }
}

}  // namespace

struct SystemAssetWriter::Core {
    AVAssetWriter* writer;
    std::shared_ptr<SystemAssetWriterInput> input;
};

SystemAssetWriter::SystemAssetWriter(const std::string& path) : core_(std::make_shared<Core>()) {
    refuseExisting(path);
    std::optional<RecorderError> reason;
    @autoreleasepool {
        core_->writer = makeWriter(path, reason);
        if (core_->writer != nil) askForFragments(core_->writer);
    }
    // Within the pool, an exception would leave it as it is.
    if (reason) throw RecorderError(*reason);
}

SystemAssetWriter::~SystemAssetWriter() = default;

std::shared_ptr<AssetWriterInput> SystemAssetWriter::makeInput(
    const AudioOutputSettings& settings,
    std::shared_ptr<const AudioFormatDescription> sourceFormat) {
    return std::make_shared<SystemAssetWriterInput>(settings, sourceFormat.get());
}

bool SystemAssetWriter::canAdd(const AssetWriterInput& input) const {
    const auto* ours = dynamic_cast<const SystemAssetWriterInput*>(&input);
    if (ours == nullptr || core_->input) return false;
    @autoreleasepool {
        AVAssetWriterInput* native = ours->native();
        return native != nil && [core_->writer canAddInput:native];
    }
}

void SystemAssetWriter::add(std::shared_ptr<AssetWriterInput> input) {
    if (!input || !canAdd(*input)) return;
    @autoreleasepool {
        core_->input = std::static_pointer_cast<SystemAssetWriterInput>(std::move(input));
        core_->input->attach(core_->writer);
        [core_->writer addInput:core_->input->native()];
    }
}

bool SystemAssetWriter::startWriting() {
    @autoreleasepool {
        @try {
            return [core_->writer startWriting];
        } @catch (NSException*) {
            return false;
        }
    }
}

void SystemAssetWriter::startSession(MediaTime sourceTime) {
    @autoreleasepool {
        @try {
            [core_->writer startSessionAtSourceTime:systemTime(sourceTime)];
        } @catch (NSException*) {  // the writer has failed since it started
        }
    }
}

void SystemAssetWriter::finishWriting(std::function<void()> completion) {
    @autoreleasepool {
        if (core_->writer.status != AVAssetWriterStatusWriting) {
            completion();
            return;
        }
        if (core_->input) core_->input->markAsFinished();
        const std::shared_ptr<Core> core = core_;
        @try {
            [core->writer finishWritingWithCompletionHandler:^{
                completion();
                // The completion may have let go of this writer; the system's is kept until here.
                (void)core->writer;
            }];
        } @catch (NSException*) {  // the writer has failed just now
            completion();
        }
    }
}

AssetWriter::Status SystemAssetWriter::status() const {
    @autoreleasepool {
        return static_cast<Status>(core_->writer.status);
    }
}

std::optional<RecorderError> SystemAssetWriter::error() const {
    @autoreleasepool {
        NSError* error = core_->writer.error;
        if (error == nil) return std::nullopt;
        return recorderError(error);
    }
}

}  // namespace tapwell
