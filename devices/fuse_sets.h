// The fuse sets of the device table: for each set the four fuse lists
// (_LOCK, _LOW, _HIGH, _EXT) of the chips whose records point to it.
// Only the device table refers to these names.
#pragma once

#include "devices/chip_desc.h"

extern const fuse_desc* const fuses_f1[4];
extern const fuse_desc* const fuses_f2[4];
extern const fuse_desc* const fuses_f3[4];
extern const fuse_desc* const fuses_f4[4];
extern const fuse_desc* const fuses_f5[4];
extern const fuse_desc* const fuses_f6[4];
extern const fuse_desc* const fuses_f7[4];
extern const fuse_desc* const fuses_f8[4];
extern const fuse_desc* const fuses_f9[4];
extern const fuse_desc* const fuses_f10[4];
extern const fuse_desc* const fuses_f11[4];
extern const fuse_desc* const fuses_f12[4];
extern const fuse_desc* const fuses_f13[4];
extern const fuse_desc* const fuses_f14[4];
extern const fuse_desc* const fuses_f15[4];
extern const fuse_desc* const fuses_f16[4];
extern const fuse_desc* const fuses_f17[4];
extern const fuse_desc* const fuses_f18[4];
extern const fuse_desc* const fuses_f19[4];
extern const fuse_desc* const fuses_f20[4];
extern const fuse_desc* const fuses_f21[4];
extern const fuse_desc* const fuses_f22[4];
extern const fuse_desc* const fuses_f23[4];
extern const fuse_desc* const fuses_f24[4];
extern const fuse_desc* const fuses_f25[4];
extern const fuse_desc* const fuses_f26[4];
extern const fuse_desc* const fuses_f27[4];
extern const fuse_desc* const fuses_f28[4];
extern const fuse_desc* const fuses_f29[4];
extern const fuse_desc* const fuses_f30[4];
extern const fuse_desc* const fuses_f31[4];
extern const fuse_desc* const fuses_f32[4];
extern const fuse_desc* const fuses_f33[4];
