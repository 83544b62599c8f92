#pragma once

#include <string>

namespace lumisk {

// The application log, <home>/Library/Logs/Qel Lumisk.log, and one log per job, <home>/Library/Logs/Qel
// Lumisk/<job>.log: append-only text, each message prefixed "YYYY-MM-DD  HH:MM:SS : " in local time, no newline added.
// A file that has reached 104,857,600 bytes is deleted and started afresh; the application log is checked when it is
// opened and every 1000 messages, a job's log at each message. Every failure is silent: logging never interrupts a
// copy. A message is one write to the end of its file, so that messages of several threads and processes do not mix.
//
// Threads: any thread may write; opening and closing happen on the main thread at start-up and shut-down.

// nullptr: the standard place. False when the file could not be opened; messages are then dropped.
bool TivOpenLogFile(const std::string* path);
void TivCloseLogFile();
void TivOutputLogFlush();
void TivOutputLogMessage(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Always 0. The name is the file's name as it stands: the messages of a job with a slash in its name are lost.
int TivOutputLogMessageByJob(const std::string& jobName, const char* format, ...) __attribute__((format(printf, 2, 3)));
// Whether uncaught exceptions are logged before they end the program: on with 0. Has nothing to do with the two files.
void TivDisableOutputLogging(signed char flag);

// Empties a log. What is written meanwhile stands in it afterwards or is emptied with it. False when it could not be.
bool emptyLog(const std::string& path);

// Where the logs are.
[[nodiscard]] std::string applicationLogPath();
[[nodiscard]] std::string jobLogPath(const std::string& jobName);

}  // namespace lumisk
