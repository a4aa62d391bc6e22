#pragma once
// The path operations that map (transmit, receive) numbers onto the unit's switch board turn the
// mapping's refusals into codes, with one line on standard error naming the exception class.
#include <iostream>

#include "core/exceptions.h"
#include "tarndll.h"

namespace Orvek {

// Code returned when the unit's switch-board description cannot serve the path; it has no name
// among the error codes.
constexpr int kUnusableSwitchBoardCode = -31;

// Runs `operation` (returning an Err_Code) and converts, in this order:
//   PathNotValidWithAvailableSwitchboard -> ERR_BAD_PATH
//   InvalidPromConfiguratonException     -> -31
//   any other InvalidPromException       -> ERR_FEATURE_NOT_PRESENT
// Every other exception passes to the caller.
template <class Operation> Err_Code convertPathExceptions(Operation&& operation) {
    try {
        return operation();
    } catch (const PathNotValidWithAvailableSwitchboard& e) {
        std::cerr << "ERROR-PathNotValidWithAvailableSwitchboard: " << e.what() << std::endl;
        return ERR_BAD_PATH;
    } catch (const InvalidPromConfiguratonException& e) {
        std::cerr << "ERROR-InvalidPromConfiguratonException: " << e.what() << std::endl;
        return static_cast<Err_Code>(kUnusableSwitchBoardCode);
    } catch (const InvalidPromException& e) {
        std::cerr << "ERROR-InvalidPromException: " << e.what() << std::endl;
        return ERR_FEATURE_NOT_PRESENT;
    }
}

} // namespace Orvek
