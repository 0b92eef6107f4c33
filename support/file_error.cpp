#include "support/file_error.hpp"

#include <cerrno>
#include <system_error>

namespace orvanta {

namespace {
FileError make(FileError::Case kind, std::filesystem::path path, int errorNumber) {
  FileError error;
  error.kind = kind;
  error.path = std::move(path);
  error.errorNumber = errorNumber;
  error.message = systemMessage(errorNumber);
  return error;
}
}  // namespace

std::string systemMessage(int errorNumber) {
  // std::system_category uses the thread-safe strerror_r underneath.
  return std::system_category().message(errorNumber);
}

FileError FileError::readFailed(std::filesystem::path path, int errorNumber) {
  return make(Case::readFailed, std::move(path), errorNumber);
}
FileError FileError::writeFailed(std::filesystem::path path, int errorNumber) {
  return make(Case::writeFailed, std::move(path), errorNumber);
}
FileError FileError::createFolderFailed(std::filesystem::path path, int errorNumber) {
  return make(Case::createFolderFailed, std::move(path), errorNumber);
}
FileError FileError::moveAsideFailed(std::filesystem::path path, int errorNumber) {
  return make(Case::moveAsideFailed, std::move(path), errorNumber);
}
FileError FileError::lockFailed(std::filesystem::path path, int errorNumber) {
  return make(Case::lockFailed, std::move(path), errorNumber);
}
FileError FileError::notPrivate(std::filesystem::path path, std::string reason) {
  FileError error;
  error.kind = Case::notPrivate;
  error.path = std::move(path);
  error.message = std::move(reason);
  return error;
}
FileError FileError::readRefused(std::filesystem::path path, std::string reason, int errorNumber) {
  FileError error;
  error.kind = Case::readFailed;
  error.path = std::move(path);
  error.message = std::move(reason);
  error.errorNumber = errorNumber;
  return error;
}
FileError FileError::homeNotFound() {
  FileError error;
  error.kind = Case::homeNotFound;
  return error;
}

std::string FileError::description() const {
  const std::string where = path.string();
  switch (kind) {
    case Case::readFailed:
      return "Could not read " + where + ": " + message;
    case Case::writeFailed:
      return "Could not write " + where + ": " + message;
    case Case::createFolderFailed:
      return "Could not create the folder " + where + ": " + message;
    case Case::moveAsideFailed:
      return "Could not move the unreadable file " + where + " aside: " + message;
    case Case::lockFailed:
      return "Could not lock " + where + ": " + message;
    case Case::notPrivate:
      return "Refusing to use the folder " + where + ": " + message;
    case Case::homeNotFound:
      return "Could not find the home folder.";
  }
  return {};
}

std::string_view FileError::caseName() const {
  switch (kind) {
    case Case::readFailed:
      return "readFailed";
    case Case::writeFailed:
      return "writeFailed";
    case Case::createFolderFailed:
      return "createFolderFailed";
    case Case::moveAsideFailed:
      return "moveAsideFailed";
    case Case::lockFailed:
      return "lockFailed";
    case Case::notPrivate:
      return "notPrivate";
    case Case::homeNotFound:
      return "homeNotFound";
  }
  return {};
}

bool isResourceShortage(int errorNumber) {
  switch (errorNumber) {
    case EMFILE:
    case ENFILE:
    case ENOMEM:
    case ENOBUFS:
    case EAGAIN: return true;
    default: return false;
  }
}

}  // namespace orvanta
