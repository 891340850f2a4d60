#include "image/memory_images.h"

#include "driver/messages.h"

// Both start empty; their destructors clear them when the program ends.
mem_image memory_images[2];
mem_image& code_image = memory_images[mem_code];
mem_image& data_image = memory_images[mem_data];
