#pragma once

#include <cstddef>
#include <string>

namespace maccheck {

/// Submit to the queue of every task that runs, as the system does: a result, an error, both. An
/// empty text is none. After an error the system lets go of the task.
void say(const std::string& text, bool isFinal);
void failTasks(int code, const std::string& description);
void sayAndFail(const std::string& text, int code, const std::string& description);

std::size_t runningTaskCount();

}  // namespace maccheck
