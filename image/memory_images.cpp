#include "image/memory_images.h"

#include "driver/messages.h"
#include "driver/process_state.h"

// Both start empty; their destructors clear them when the program ends.
mem_image memory_images[2];
mem_image& code_image = memory_images[mem_code];
mem_image& data_image = memory_images[mem_data];
const process_state_reset reset_images{[] {
  code_image.clear();
  data_image.clear();
}};
