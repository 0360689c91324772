// Compiles the conformance suite, once for all the programs that run it.
#include "testing/ConformanceSuite.h"
