/* A host in C99: creates a handle, enlarges a generated frame, ends the handle; every mistake of
 * the library that a C program can see makes it fail. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "velmora_sr/report.h"
#include "velmora_sr/velmora_sr.h"

enum { WIDTH = 320, HEIGHT = 240, SCALE = 2 };

static size_t live_blocks = 0;
static size_t requests = 0;

static void* take(uint32_t size, const char* tag, int32_t reserved) {
  if (strcmp(tag, "SR_Process") != 0 || reserved != 0) return NULL;
  ++requests;
  ++live_blocks;
  return malloc(size);
}

static void give_back(void* block, const char* tag, int32_t reserved) {
  if (strcmp(tag, "SR_Process") == 0 && reserved == 0) --live_blocks;
  free(block);
}

#define CHECK(condition)                                              \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      return 1;                                                       \
    }                                                                 \
  } while (0)

static int enlarge(uint8_t* in, uint8_t* out) {
  Velmora_SR_CreateParams params = {0};
  Velmora_SR_InputFrames frames = {0};
  Velmora_SR_OutputFrame result = {0};
  Velmora_SR_Report report = {0};
  SR_ParamsPublic* handle = NULL;

  params.inImageWidth = WIDTH;
  params.inImageHeight = HEIGHT;
  params.srScene = VELMORA_SR_SCENE_SINGLE;
  params.alloc = take;
  params.free = give_back;
  CHECK(VELMORA_SR_Create(&params, &handle) == 0);
  CHECK(handle != NULL && handle->state == 2);

  frames.width = WIDTH;
  frames.height = HEIGHT;
  frames.format = VELMORA_SR_FORMAT_NV12;
  frames.leftData = in;
  frames.vrDepthEndW = WIDTH - 1;
  frames.vrDepthEndH = HEIGHT - 1;
  result.width = SCALE * WIDTH;
  result.height = SCALE * HEIGHT;
  result.data = out;
  CHECK(VELMORA_SR_Process(handle, NULL, 1, &result) == -1);
  CHECK(VELMORA_SR_Process(handle, &frames, 1, &result) == 0);
  report.size = sizeof report;
  CHECK(VELMORA_SR_GetReport(handle, &report) == 0);
  CHECK(report.written == 1 && report.fused == 0 && strcmp(report.reason, "") == 0);
  CHECK(result.vrStartW == 0 && result.vrEndW == WIDTH - 1 && result.vrEndH == HEIGHT - 1);
  CHECK(requests > 0 && live_blocks == 0);

  CHECK(VELMORA_SR_Destroy(&handle) == 0);
  CHECK(handle == NULL);
  CHECK(VELMORA_SR_Destroy(&handle) == -1);
  return 0;
}

int main(void) {
  const size_t in_size = (size_t)WIDTH * HEIGHT * 3 / 2;
  const size_t out_size = in_size * SCALE * SCALE;
  uint8_t* in = malloc(in_size);
  uint8_t* out = malloc(out_size);
  size_t i;
  int failed = 1;

  CHECK(in != NULL && out != NULL);
  /* A dark left half, a bright right half, and one colour each. */
  for (i = 0; i < in_size; ++i) {
    const int right = i % WIDTH >= WIDTH / 2;
    if (i < (size_t)WIDTH * HEIGHT) {
      in[i] = right ? 200 : 40;
    } else {
      in[i] = i % 2 == 0 ? (right ? 180 : 90) : (right ? 60 : 150);
    }
  }
  failed = enlarge(in, out);
  if (!failed) {
    const uint8_t* chroma = out + (size_t)SCALE * WIDTH * SCALE * HEIGHT;
    const uint8_t* corner = out + out_size - 2;
    failed = out[0] != 40 || chroma[0] != 90 || chroma[1] != 150 || corner[0] != 180 ||
             corner[1] != 60 || chroma[-1] != 200;
    if (failed) fprintf(stderr, "the halves have changed their colours\n");
  }
  free(in);
  free(out);
  return failed;
}
