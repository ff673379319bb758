/* Makes one picture, twice as large, of four raw NV12 frames in one file: the shortest complete use
 * of the burst stage, in C99.
 *
 *   cc -std=c99 burst.c $(pkg-config --cflags --libs velmora_sr) -o burst
 *   ./burst in.nv12 640 480 out.nv12 */
#include <stdio.h>
#include <stdlib.h>
#include <velmora_sr/burst.h>

enum { FRAMES = 4 };

/* The picture around the first frame. `in` holds the frames one after the other, width * height *
 * 3 / 2 bytes each, `out` four times as many. */
static int make_picture(const uint8_t* in, int32_t width, int32_t height, uint8_t* out) {
  const size_t samples = (size_t)width * (size_t)height;
  Velmora_SR_BurstParams params = {
      .size = sizeof params, .width = width, .height = height, .noise = -1, .sharpened = -1};
  Velmora_SR_BurstPicture picture = {
      out, out + 4 * samples, out + 4 * samples + 1, 2 * width, 2 * width, 2 * width, 1, 2, 2};
  Velmora_SR_Burst* burst = NULL;
  int32_t ids[FRAMES];
  int32_t code = VELMORA_SR_BurstCreate(&params, &burst);
  for (int i = 0; i < FRAMES && code == VELMORA_SR_BURST_OK; ++i, in += samples * 3 / 2) {
    Velmora_SR_BurstFrame frame = {in, in + samples, in + samples + 1, width, width, width, 1, 2,
                                   2};
    code = VELMORA_SR_BurstAdd(burst, &frame, &ids[i]);
  }
  if (code == VELMORA_SR_BURST_OK) code = VELMORA_SR_BurstRender(burst, ids[0], &picture);
  if (code != VELMORA_SR_BURST_OK) fprintf(stderr, "%s\n", VELMORA_SR_BurstMessage(burst));
  for (int i = 0; i < FRAMES && code == VELMORA_SR_BURST_OK; ++i) {
    Velmora_SR_BurstFrameReport report = {.size = sizeof report};
    VELMORA_SR_BurstFrameReport(burst, ids[i], &report);
    printf("frame %d: %.0f %% of the picture%s%s\n", i + 1, 100 * report.share,
           report.use < 0 ? ", left out: " : "", report.reason);
  }
  VELMORA_SR_BurstDestroy(&burst);
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
  const int32_t width = argc == 5 ? atoi(argv[2]) : 0;
  const int32_t height = argc == 5 ? atoi(argv[3]) : 0;
  size_t frame_size;
  uint8_t *in, *out;
  int done = 0;
  if (width < 16 || width > 8192 || height < 16 || height > 8192 || width % 2 != 0 ||
      height % 2 != 0) {
    fprintf(stderr, "usage: burst IN WIDTH HEIGHT OUT (four NV12 frames, even sizes 16 to 8192)\n");
    return 2;
  }
  frame_size = (size_t)width * (size_t)height * 3 / 2;
  in = malloc(FRAMES * frame_size);
  out = malloc(4 * frame_size);
  if (in != NULL && out != NULL && transfer(argv[1], "rb", in, FRAMES * frame_size))
    done = make_picture(in, width, height, out) == VELMORA_SR_BURST_OK &&
           transfer(argv[4], "wb", out, 4 * frame_size);
  free(in);
  free(out);
  return done ? 0 : 1;
}
