#include "lpt/lpt_pin_table.h"

const pin_desc lpt_pin_table[] = {
    {"D0", 0x000001, 0, direction_output},     {"D1", 0x000002, 0, direction_output},
    {"D2", 0x000004, 0, direction_output},     {"D3", 0x000008, 0, direction_output},
    {"D4", 0x000010, 0, direction_output},     {"D5", 0x000020, 0, direction_output},
    {"D6", 0x000040, 0, direction_output},     {"D7", 0x000080, 0, direction_output},
    {"ERROR", 0x000800, 0, direction_input},   {"ONLINE", 0x001000, 0, direction_input},
    {"PE", 0x002000, 0, direction_input},      {"ACK", 0x004000, 0, direction_input},
    {"BUSY", 0x008000, 1, direction_input},    {"STROBE", 0x010000, 1, direction_output},
    {"ALF", 0x020000, 1, direction_output},    {"INIT", 0x040000, 0, direction_output},
    {"SELECT", 0x080000, 1, direction_output}, {"BIDIR_EN", 0x200000, 0, direction_output},
    {nullptr, 0, 0, 0},
};
