// The build compiles the precompiled headers of the tests along with this file.
#include "testing/Precompiled.h"
