// The library's error classes.
#include "clsException.h"

#include <utility>

namespace qx {

clsException::clsException(std::string message) : message(std::move(message)) {}

const std::string& clsException::getMessage() const { return message; }

AnaDataException::AnaDataException(std::string message) : clsException(std::move(message)) {}

const std::string& AnaDataException::getDetail() const { return detail; }

DBException::DBException(std::string message) : clsException(std::move(message)) {}

const std::string& DBException::getDetail() const { return detail; }

}  // namespace qx
