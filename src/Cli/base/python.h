// Python's C interface. Every file that uses it includes this header.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>
