// Chip erase for the -e switch: the Chip Erase instruction with its wait and
// reset cycle, re-identification, lock state read again, and the second
// erase cycle of the chip that needs it. Called by the programming run.
#pragma once

// One Chip Erase instruction, its wait and the reset pulse that ends programming mode.
void erase_command();
// The whole erase; afterwards isp_chip.erased is set.
void chip_erase();
