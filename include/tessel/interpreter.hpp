// The host interpreter: functions called by name (feval), the host language's
// call stack and the interruption flag.
//
// Built-in functions: "@(x)sort(x(:,1))" (sorts the first column of a cell of
// strings by code units, stably; second output the 1-based permutation),
// "@(x,i) x(i,:)" (the rows i, 1-based, of a cell, double, logical or char
// matrix) and "qv_refresh_customizations" (refreshes the host's menus; here it
// only counts its calls). Applications and tests register more.
#pragma once

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tessel/array.hpp"
#include "tessel/export.hpp"

namespace tessel {

// A host function: nlhs outputs to fill in plhs (new arrays that the caller
// owns), nrhs borrowed inputs in prhs.
using HostFunction = std::function<void(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[])>;
// The raw form that module function tables export.
using HostEntryPoint = void (*)(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]);

// An error raised by the host interpreter, with an identifier such as
// "Tessel:UndefinedFunction".
class TESSEL_API HostError : public std::runtime_error {
 public:
  HostError(std::string identifier, const std::string& message);
  const std::string& identifier() const { return identifier_; }

 private:
  std::string identifier_;
};

// Calls the function registered under name. Throws HostError
// "Tessel:UndefinedFunction" for an unknown name, "Tessel:BadArguments" for a
// negative count or a null array list with a positive count, and
// "Tessel:OutputNotSet" when the function leaves a requested output unset.
// Exceptions of the function itself pass through; outputs it did set are
// destroyed then.
TESSEL_API void feval(const std::string& name, int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]);

// Registers fn under name; false (and nothing changes) when the name is taken
// or fn is empty.
TESSEL_API bool RegisterFunction(const std::string& name, HostFunction fn);
// Removes a function; false when none was registered under name.
TESSEL_API bool UnregisterFunction(const std::string& name);
TESSEL_API bool IsFunctionRegistered(const std::string& name);

// Registers a function for the scope's lifetime (throws std::invalid_argument
// when the name is taken).
class TESSEL_API ScopedFunction {
 public:
  ScopedFunction(std::string name, HostFunction fn);
  ~ScopedFunction();
  ScopedFunction(const ScopedFunction&) = delete;
  ScopedFunction& operator=(const ScopedFunction&) = delete;

 private:
  std::string name_;
};

// Evaluates a string expression of the host language: a quoted text ('it''s',
// where two quotes stand for one) or a bracketed concatenation of quoted texts
// and char(N) calls (N a decimal code from 0 to 65535), separated by blanks
// and/or commas: ['line one' char(10) 'line two'] or ['a', char(34), 'b'].
// Blanks may surround the expression. A quoted text cannot span a line: a
// line feed or carriage return inside quotes is an error, as in the language.
// Anything else throws HostError "Tessel:ParseError" naming the 1-based
// position of the first character that could not be read.
TESSEL_API std::u16string EvaluateStringExpression(std::u16string_view expression);

// How often "qv_refresh_customizations" has run in this process.
TESSEL_API int RefreshCustomizationsCount();

// --- The host language's call stack. The application pushes a frame for each
// host-language function it runs (main thread). ---
class TESSEL_API ScopedFrame {
 public:
  ScopedFrame(std::string file, std::string name, int line);
  ~ScopedFrame();
  ScopedFrame(const ScopedFrame&) = delete;
  ScopedFrame& operator=(const ScopedFrame&) = delete;
};

// A new N x 1 struct array with fields "file", "name" (char) and "line"
// (double), innermost frame first; 0 x 1 with the same fields when no frame is
// open. The caller owns it (temporary in an open host call scope).
TESSEL_API txArray* GetCallStack();
TESSEL_API std::size_t CallStackDepth();

// --- Interruption (Ctrl-C) handling of the host; enabled by default. ---
TESSEL_API bool IsInterruptEnabled();
TESSEL_API void SetInterruptEnabled(bool enabled);

}  // namespace tessel
