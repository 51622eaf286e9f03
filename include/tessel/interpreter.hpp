// The host interpreter: functions called by name (feval), the host language's
// call stack and the interruption flag.
//
// Built-in functions: "@(x)sort(x(:,1))" (sorts the first column of a cell of
// strings by code units, stably; second output the 1-based permutation),
// "@(x,i) x(i,:)" (the rows i, 1-based, of a cell, double, logical or char
// matrix), "qv_refresh_customizations" (refreshes the host's menus; here it
// only counts its calls) and "error" (error(identifier, message) or
// error(message) raises a HostError; "Tessel:UserError" when no identifier is
// given). Applications and tests register more.
#pragma once

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/array.hpp"
#include "tessel/export.hpp"

namespace tessel {

// A host function: nlhs outputs to fill in plhs (new arrays that the caller
// owns), nrhs borrowed inputs in prhs.
using HostFunction = std::function<void(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[])>;
// The raw form that module function tables export.
using HostEntryPoint = void (*)(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]);

// One frame of the host language's call stack.
struct StackFrame {
  std::string file;
  std::string name;
  int line = 0;
};

// An error raised by the host interpreter, with an identifier such as
// "Tessel:UndefinedFunction". It keeps the host call stack of the moment it
// was made (innermost frame first; empty when no frame was open), so that
// whoever catches it can tell where it was raised.
class TESSEL_API HostError : public std::runtime_error {
 public:
  HostError(std::string identifier, const std::string& message);
  const std::string& identifier() const { return identifier_; }
  const std::vector<StackFrame>& stack() const { return stack_; }

 private:
  std::string identifier_;
  std::vector<StackFrame> stack_;
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

// Evaluates an expression of the host language and returns its value. An
// expression is a string expression as above (its value a char row), a
// decimal number with optional sign, fraction and exponent (a double scalar),
// or a call of a registered host function: a name (letters, digits, '_' and
// '.', starting with a letter), optionally followed by arguments in
// parentheses, separated by commas, each an expression itself (so calls nest):
//   error('Demo:fail', ['line one' char(10) 'line two'])
//   report(lastResult, 'summary', 2.5e-3)
// Blanks may surround every part. The whole expression is read before
// anything is called; a syntax error throws HostError "Tessel:ParseError"
// "Parse error at column N: ..." naming the 1-based column (in UTF-16 code
// units), and nesting deeper than kMaxExpressionDepth is such an error too.
// nargout (0 or 1, else HostError "Tessel:BadArguments") is the number of
// outputs asked of the outermost call; nested calls are asked for one. The
// result is a new array the caller owns (temporary in an open host call
// scope), or null when nargout is 0. Errors of the called functions pass
// through as feval lets them; arguments and results made on the way are
// destroyed then.
inline constexpr int kMaxExpressionDepth = 64;
TESSEL_API txArray* EvaluateExpression(std::u16string_view expression, int nargout = 1);

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
// The open frames, innermost first.
TESSEL_API std::vector<StackFrame> GetCallStackFrames();
// The struct array of GetCallStack for the given frames.
TESSEL_API txArray* CallStackToArray(const std::vector<StackFrame>& frames);
TESSEL_API std::size_t CallStackDepth();

// --- Interruption (Ctrl-C) handling of the host; enabled by default. ---
TESSEL_API bool IsInterruptEnabled();
TESSEL_API void SetInterruptEnabled(bool enabled);

// Interruption requests: the user's break key (Ctrl-C) or the program itself
// asks the running host call to stop. A request stays pending until someone
// takes it; those who run host calls look at it (while interruption is
// enabled) and stop there. A newer request replaces a pending one.
enum class InterruptRequest { None, UserBreak, Program };
TESSEL_API void RequestInterrupt(InterruptRequest request);
TESSEL_API InterruptRequest PendingInterrupt();
// The pending request, which is cleared.
TESSEL_API InterruptRequest TakeInterrupt();

}  // namespace tessel
