// The one error type of the file helpers in support/: reading, writing, locking and creating folders.
//
// Every case carries the path it concerns and, where the system gave one, its own message for the error
// (the strerror text, undecorated) and the errno value. description() is the sentence shown to users.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace orvanta {

struct FileError {
  enum class Case {
    readFailed,          // a file could not be opened or read
    writeFailed,         // a file could not be created, written, flushed or put in place
    createFolderFailed,  // a folder could not be created
    moveAsideFailed,     // an unreadable file could not be moved out of the way
    lockFailed,          // a lock file could not be opened or locked
    notPrivate,          // a folder that must be ours alone is not
    homeNotFound,        // neither $HOME nor the user database names a home folder
  };

  Case kind = Case::readFailed;
  std::filesystem::path path;
  // The system's message ("Permission denied"); for notPrivate, what is wrong with the folder.
  std::string message;
  // The errno value behind `message`, 0 when the failure did not come from a system call.
  int errorNumber = 0;

  // The factories taking an errno value fill in `message` with the system's text for it.
  static FileError readFailed(std::filesystem::path path, int errorNumber);
  static FileError writeFailed(std::filesystem::path path, int errorNumber);
  static FileError createFolderFailed(std::filesystem::path path, int errorNumber);
  static FileError moveAsideFailed(std::filesystem::path path, int errorNumber);
  static FileError lockFailed(std::filesystem::path path, int errorNumber);
  // `reason` completes "Refusing to use the folder <path>: ", e.g. "it belongs to another user".
  static FileError notPrivate(std::filesystem::path path, std::string reason);
  // A read refused before or while reading: `reason` completes "Could not read <path>: ", e.g. "it is
  // larger than 8 MiB" or "it is not a regular file". `errorNumber` is EFBIG or EINVAL.
  static FileError readRefused(std::filesystem::path path, std::string reason, int errorNumber);
  static FileError homeNotFound();

  // The user-facing sentence, e.g. "Could not write /x/y: Permission denied".
  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it ("writeFailed", ...).
  [[nodiscard]] std::string_view caseName() const;

  bool operator==(const FileError&) const = default;
};

// The system's message for an errno value, in the words of strerror. Thread-safe.
std::string systemMessage(int errorNumber);

// Whether a failed read says nothing about the file itself: the process or system ran short of descriptors,
// memory or buffers. A document whose read failed that way must not be set aside as unreadable.
[[nodiscard]] bool isResourceShortage(int errorNumber);

}  // namespace orvanta
