// Error classes of the library: the base clsException, the record's AnaDataException,
// DBException, and NotAllocated thrown by the bindings' handle lookups.
#ifndef ANADATA_CLSEXCEPTION_H
#define ANADATA_CLSEXCEPTION_H

#include <string>

#include "anadata_export.h"

namespace qx {

// Base of all library errors. Thrown by value and caught by type; it has no virtual
// functions, so catch the most derived type you care about first.
class ANADATA_API clsException {
public:
    explicit clsException(std::string message);

    // The message given at construction.
    const std::string& getMessage() const;

protected:
    std::string message;
};

// Thrown by every check of AnaData, its text and dump formats and its server operations.
// The message is one of the library's short fixed texts (for example "Invalid Dim Name").
class ANADATA_API AnaDataException : public clsException {
public:
    explicit AnaDataException(std::string message);

    // Extra text carried along by copies; empty when the library throws.
    const std::string& getDetail() const;

private:
    std::string detail;
};

// Error class for database access. Nothing in the record code throws it; the bindings
// catch it apart from other clsExceptions and report it with a code of their own.
class ANADATA_API DBException : public clsException {
public:
    explicit DBException(std::string message);

    const std::string& getDetail() const;

private:
    std::string detail;
};

// Thrown by the bindings' handle lookups when a handle is not in their table.
class ANADATA_API NotAllocated {};

}  // namespace qx

#endif
