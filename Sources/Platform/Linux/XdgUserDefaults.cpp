#include "Platform/Linux/XdgUserDefaults.h"

#include "Platform/Linux/XdgFolders.h"
#include "Platform/Posix/FileOperations.h"

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <span>
#include <utility>

namespace tapwell {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

/// The object in the file; an empty one when there is none.
Json readObject(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    Json object = Json::parse(stream, nullptr, false);
    return object.is_object() ? object : Json::object();
}

/// Makes the folders that are missing, for the user alone. Returns 0 or errno.
int makeFolders(const fs::path& folder) {
    if (::mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST) return 0;
    if (errno != ENOENT || !folder.has_parent_path()) return errno;
    const int status = makeFolders(folder.parent_path());
    if (status != 0) return status;
    return ::mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST ? 0 : errno;
}

/// Puts the text into a file beside and lets it take the file's place. Returns 0 or errno.
int replaceFile(const fs::path& file, const std::string& text) {
    if (const int status = makeFolders(file.parent_path()); status != 0) return status;
    std::string temporary = file.string() + ".XXXXXX";
    const int descriptor = ::mkostemp(temporary.data(), O_CLOEXEC);  // made for the owner alone
    if (descriptor < 0) return errno;
    int status = writeAll(descriptor, std::as_bytes(std::span(text)), 0);
    if (status == 0 && ::fsync(descriptor) != 0) status = errno;
    ::close(descriptor);
    if (status == 0 && ::rename(temporary.c_str(), file.c_str()) != 0) status = errno;
    if (status != 0) ::unlink(temporary.c_str());
    return status;
}

fs::path fileIn(const fs::path& folder) {
    return folder.empty() ? folder : folder / "defaults.json";
}

}  // namespace

XdgUserDefaults::XdgUserDefaults(const Environment& environment,
                                 std::function<void(const std::string& message)> log)
    : file_(fileIn(tapwellStateFolder(environment))), log_(std::move(log)) {}

bool XdgUserDefaults::boolForKey(const std::string& key) {
    const std::lock_guard hold(lock_);
    if (const auto found = setHere_.find(key); found != setHere_.end()) return found->second;
    if (file_.empty()) return false;
    const Json object = readObject(file_);
    const auto found = object.find(key);
    return found != object.end() && found->is_boolean() && found->get<bool>();
}

void XdgUserDefaults::setBool(bool value, const std::string& key) {
    const std::lock_guard hold(lock_);
    setHere_[key] = value;
    if (file_.empty()) {
        log_("no place to remember " + key +
             ": neither XDG_STATE_HOME nor HOME is an absolute path");
        return;
    }
    Json object = readObject(file_);
    object[key] = value;
    const int status = replaceFile(file_, object.dump(2) + "\n");
    if (status != 0)
        log_("cannot write " + file_.string() + ": " + std::strerror(status) +
             "; it is remembered until the program ends");
}

}  // namespace tapwell
