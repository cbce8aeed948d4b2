// VORNUtilitiesInternal.h - library-internal side of the utilities and
// commands subsystem; the commands part has its own header, included here.
#ifndef VORN_UTILITIES_INTERNAL_H
#define VORN_UTILITIES_INTERNAL_H

#include "VORNUtilitiesCommandsInternal.h"

#include <vector>

// Tells the host once, for all held buttons together, that they are still
// held. Run at every simulation step, before the flight loops.
void VORNDoRepeatedButtons();
// The joystick buttons held through VORNCommandButtonPress, in press order
// (duplicates allowed), for tests.
const std::vector<int>& VORNHeldButtons();

// printf into the log through the host. Not re-entrant. Always returns 0.
int VORN_dprintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

// No button held.
void VORNResetUtilities();

#endif
