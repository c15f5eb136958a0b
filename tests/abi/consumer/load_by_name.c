/* Loads the library under its published name, as a host does that knows it only at run time, and makes a call. */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

typedef unsigned int GreyFunction(int width, int height, int channels, int bitDepth, int64_t offset, const void *src,
                                  uint8_t *dst);

int main(void) {
  void *library = dlopen("VindrelRegLib-QVA.so.1", RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    printf("%s\n", dlerror());
    return 1;
  }
  void *symbol = dlsym(library, "greyscale");
  const int *setting = dlsym(library, "MAX_MATCHES_OPTIMIZED");
  if (!symbol || !setting || *setting != 60) return 1;
  GreyFunction *greyscale;
  memcpy(&greyscale, &symbol, sizeof(greyscale));

  const uint8_t pixels[2 * 3] = {255, 255, 255, 100, 0, 0};
  uint8_t grey[2] = {0, 0};
  greyscale(2, 1, 3, 8, 0, pixels, grey);
  printf("greyscale: %d %d\n", grey[0], grey[1]);
  dlclose(library);
  return grey[0] == 255 && grey[1] == 54 * 100 / 256 ? 0 : 1;
}
