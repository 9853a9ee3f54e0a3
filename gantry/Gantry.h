// The umbrella header: all of the library's public interface. Programs that care for the time of
// their compilation include the headers of the parts instead. A header alone; it declares nothing
// of its own.
#pragma once

#include <gantry/runtime/Export.h>
