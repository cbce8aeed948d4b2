// VORNUtilities.h - library-internal side of the utilities.
#ifndef VORN_UTILITIES_INTERNAL_H
#define VORN_UTILITIES_INTERNAL_H

#include <vector>

// Joystick buttons currently held through VORNCommandButtonPress, in press
// order, duplicates allowed.
extern std::vector<int> gButtons;

// Tells the host once, for all held buttons together, that they are still
// held. Run at every simulation step, before the flight loops.
void VORNDoRepeatedButtons();

// printf into the log through the host. Not re-entrant. Always returns 0.
int VORN_dprintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

#endif
