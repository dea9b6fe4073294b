// Python's C interface, as every file of the module that uses it includes it.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>
