#pragma once

namespace tapwell {

/// Gives back the memory that only loading the program took. FFmpeg's libcodec draws in almost a
/// hundred libraries, and resolving their symbols touches pages of each that are never used again.
///
/// Takes only segments that the program cannot write: they are unchanged copies of their files, and
/// the kernel reads back what is needed. Any thread, any number of times; a failure changes
/// nothing.
void releaseStartupPages();

}  // namespace tapwell
