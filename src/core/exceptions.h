#pragma once
// Exceptions thrown inside the library. Only the path operations turn them into codes; every
// other entry point lets them reach the caller.
#include <stdexcept>

namespace Orvek {

class TarnException : public std::runtime_error {
public:
    explicit TarnException(const char* message) : std::runtime_error(message) {}
};

// The unit description cannot be used.
class InvalidPromException : public TarnException {
public:
    using TarnException::TarnException;
};

// The description is readable but names a combination the library cannot serve. (The spelling
// of the class name is part of the diagnostics users grep for.)
class InvalidPromConfiguratonException : public InvalidPromException {
public:
    using InvalidPromException::InvalidPromException;
};

// An operation needs a feature the unit's description does not declare.
class PromFeatureNotPresentException : public InvalidPromException {
public:
    using InvalidPromException::InvalidPromException;
};

// The transmit/receive combination does not exist on the fitted switch board.
class PathNotValidWithAvailableSwitchboard : public TarnException {
public:
    using TarnException::TarnException;
};

} // namespace Orvek
