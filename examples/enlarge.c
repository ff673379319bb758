/* Enlarges one raw NV12 frame by a whole factor: the shortest complete use of the library, in C99.
 *
 *   cc -std=c99 enlarge.c $(pkg-config --cflags --libs velmora_sr) -o enlarge
 *   ./enlarge in.nv12 640 480 2 out.nv12 */
#include <stdio.h>
#include <stdlib.h>
#include <velmora_sr/velmora_sr.h>

static void* take(uint32_t size, const char* tag, int32_t reserved) {
  (void)tag, (void)reserved;
  return malloc(size);
}

static void give_back(void* block, const char* tag, int32_t reserved) {
  (void)tag, (void)reserved;
  free(block);
}

/* All that concerns the library: `in` holds width * height * 3 / 2 bytes, `out` factor * factor
 * times as many. */
static int enlarge(uint8_t* in, int32_t width, int32_t height, int32_t factor, uint8_t* out) {
  /* Null paths: built-in thresholds and kernels. */
  Velmora_SR_CreateParams params = {.inImageWidth = width,
                                    .inImageHeight = height,
                                    .srScene = VELMORA_SR_SCENE_SINGLE,
                                    .alloc = take,
                                    .free = give_back};
  Velmora_SR_InputFrames frames = {.width = width,
                                   .height = height,
                                   .format = VELMORA_SR_FORMAT_NV12,
                                   .leftData = in,
                                   .vrDepthEndW = width - 1, /* the whole frame */
                                   .vrDepthEndH = height - 1};
  Velmora_SR_OutputFrame result = {.width = factor * width,
                                   .height = factor * height,
                                   .format = VELMORA_SR_FORMAT_NV12,
                                   .data = out};
  SR_ParamsPublic* handle = NULL;
  int32_t code = VELMORA_SR_Create(&params, &handle);
  if (code == 0) code = VELMORA_SR_Process(handle, &frames, 1, &result);
  if (handle != NULL) VELMORA_SR_Destroy(&handle);
  return code;
}

static int transfer(const char* path, const char* mode, uint8_t* bytes, size_t size) {
  FILE* file = fopen(path, mode);
  size_t done = 0;
  if (file != NULL) {
    done = mode[0] == 'r' ? fread(bytes, 1, size, file) : fwrite(bytes, 1, size, file);
    if (fclose(file) != 0) done = 0;
  }
  if (done != size) fprintf(stderr, "%s: %zu of %zu bytes\n", path, done, size);
  return done == size;
}

int main(int argc, char** argv) {
  const int32_t width = argc == 6 ? atoi(argv[2]) : 0;
  const int32_t height = argc == 6 ? atoi(argv[3]) : 0;
  const int32_t factor = argc == 6 ? atoi(argv[4]) : 0;
  size_t in_size, out_size;
  uint8_t *in, *out;
  int done = 0;
  if (width < 2 || width > 8192 || height < 2 || height > 8192 || factor < 1 || factor > 8 ||
      width % 2 != 0 || height % 2 != 0) {
    fprintf(stderr, "usage: enlarge IN WIDTH HEIGHT FACTOR OUT (NV12, even sizes to 8192, 1..8)\n");
    return 2;
  }
  in_size = (size_t)width * (size_t)height * 3 / 2;
  out_size = in_size * (size_t)factor * (size_t)factor;
  in = malloc(in_size);
  out = malloc(out_size);
  if (in != NULL && out != NULL && transfer(argv[1], "rb", in, in_size)) {
    const int code = enlarge(in, width, height, factor, out);
    if (code != 0) fprintf(stderr, "velmora_sr: code %d\n", code);
    done = code == 0 && transfer(argv[5], "wb", out, out_size);
  }
  free(in);
  free(out);
  return done ? 0 : 1;
}
