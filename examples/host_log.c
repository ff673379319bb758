/* A host that takes over the library's log. A program that defines this function gets every line of
 * the library, which then writes none itself (outside Android; liblog keeps its own there).
 *
 *   cc -std=c99 host_log.c $(pkg-config --cflags --libs velmora_sr) -o host_log && ./host_log */
#include <stdarg.h>
#include <stdio.h>
#include <velmora_sr/platform.h>
#include <velmora_sr/velmora_sr.h>

static int creating = 0;

int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
  va_list args;
  int written;
  if (prio < 5 || creating) return 0; /* a creation tells its ordinary steps as errors */
  printf("camera: [%d %s] ", prio, tag);
  va_start(args, fmt);
  written = vprintf(fmt, args);
  va_end(args);
  return written;
}

int main(void) {
  Velmora_SR_CreateParams params = {.inImageWidth = 64, .inImageHeight = 48};
  SR_ParamsPublic* handle = NULL;
  creating = 1;
  if (VELMORA_SR_Create(&params, &handle) != 0) return 1;
  creating = 0;
  VELMORA_SR_Process(handle, NULL, 1, NULL); /* is refused, with a line */
  return VELMORA_SR_Destroy(&handle);
}
