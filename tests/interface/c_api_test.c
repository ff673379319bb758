/* A host in C99: creates a handle, enlarges a frame of two colours, ends the handle. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "velmora_sr/report.h"
#include "velmora_sr/velmora_sr.h"

enum { WIDTH = 320, HEIGHT = 240, SCALE = 2, LUMA = WIDTH * HEIGHT, BYTES = LUMA * 3 / 2 };

static int live_blocks = 0;

static void* take(uint32_t size, const char* tag, int32_t reserved) {
  if (strcmp(tag, "SR_Process") != 0 || reserved != 0) return NULL;
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

int main(void) {
  static uint8_t in[BYTES], out[BYTES * SCALE * SCALE];
  uint8_t* const chroma = out + LUMA * SCALE * SCALE;
  const Velmora_SR_CreateParams params = {.inImageWidth = WIDTH,
                                          .inImageHeight = HEIGHT,
                                          .srScene = VELMORA_SR_SCENE_SINGLE,
                                          .alloc = take,
                                          .free = give_back};
  const Velmora_SR_InputFrames frames = {.width = WIDTH,
                                         .height = HEIGHT,
                                         .format = VELMORA_SR_FORMAT_NV12,
                                         .leftData = in,
                                         .vrDepthEndW = WIDTH - 1,
                                         .vrDepthEndH = HEIGHT - 1};
  Velmora_SR_OutputFrame result = {.width = SCALE * WIDTH, .height = SCALE * HEIGHT, .data = out};
  Velmora_SR_Report report = {0};
  SR_ParamsPublic* handle = NULL;
  int i;
  for (i = 0; i < BYTES; ++i) /* a dark left half, a bright right one */
    in[i] = (uint8_t)((i % WIDTH < WIDTH / 2 ? 40 : 180) + (i < LUMA ? 0 : 10 + i % 2));

  CHECK(VELMORA_SR_Create(&params, &handle) == 0);
  CHECK(handle != NULL && handle->state == 2);
  CHECK(VELMORA_SR_Process(handle, NULL, 1, &result) == -1);
  CHECK(VELMORA_SR_Process(handle, &frames, 1, &result) == 0);
  report.size = sizeof report;
  CHECK(VELMORA_SR_GetReport(handle, &report) == 0);
  CHECK(report.written == 1 && report.fused == 0 && strcmp(report.reason, "") == 0);
  CHECK(result.vrStartW == 0 && result.vrEndW == WIDTH - 1 && result.vrEndH == HEIGHT - 1);
  CHECK(live_blocks == 0);
  CHECK(out[0] == 40 && chroma[-1] == 180 && chroma[0] == 50 && chroma[1] == 51);
  CHECK(out[sizeof out - 2] == 190 && out[sizeof out - 1] == 191);
  CHECK(VELMORA_SR_Destroy(&handle) == 0);
  CHECK(handle == NULL);
  CHECK(VELMORA_SR_Destroy(&handle) == -1);
  return 0;
}
