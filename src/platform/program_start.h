#pragma once

// What a program does before anything else.
namespace lumisk::programStart {

// Opens /dev/null for each of the three standard streams that was closed when the program was started. Otherwise the
// next file that is opened gets such a number, and what is meant for the stream is written into it.
void openMissingStreams();

// As many descriptors as the process may have, within reason: each run may hold some two hundred, and an application
// may have many runs at once. getrlimit(2).
void allowManyDescriptors();

// For programs with many threads that seldom allocate: few places from which they do. mallopt(3). Before the first
// thread.
void keepMemorySmall();

}  // namespace lumisk::programStart
