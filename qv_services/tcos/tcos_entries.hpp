// The module's host-callable entries for handle classes. Each takes an
// object (or, where said, a class name) and throws the tcos diagnostics.
#pragma once

#include "tessel/interpreter.hpp"

namespace qvsv::tcos::detail {

// QvTcosGet(object, 'Property') -> value (an expression resolved).
void GetEntry(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]);
// QvTcosSet(object, 'Property', value): no output; a text on a deferrable
// property stores an expression.
void SetEntry(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]);
// QvTcosProperties(object or 'Class') -> cell row of property names.
void PropertiesEntry(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]);
// QvTcosPropertyReport(object or 'Class') -> the property report (struct row).
void PropertyReportEntry(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]);
// QvTcosClasses() -> cell row of the registered class names.
void ClassesEntry(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]);

}  // namespace qvsv::tcos::detail
