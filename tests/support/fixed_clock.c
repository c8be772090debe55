/* Preloaded into a program, stops its wall clock at KELV_TEST_CLOCK seconds since 1970 (a fraction is allowed). */
#define _GNU_SOURCE
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

static int fixed(struct timespec* now) {
  const char* text = getenv("KELV_TEST_CLOCK");
  if (text == NULL) return 0;
  const double seconds = strtod(text, NULL);
  now->tv_sec = (time_t)seconds;
  now->tv_nsec = (long)((seconds - (double)now->tv_sec) * 1e9);
  return 1;
}

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, struct timespec* now) {
  if (clock == CLOCK_REALTIME && fixed(now)) return 0;
  return (int)syscall(SYS_clock_gettime, clock, now);
}

__attribute__((visibility("default"))) time_t time(time_t* result) {
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  if (result != NULL) *result = now.tv_sec;
  return now.tv_sec;
}

__attribute__((visibility("default"))) int gettimeofday(struct timeval* restrict result, void* restrict zone) {
  struct timespec now;
  (void)zone;
  clock_gettime(CLOCK_REALTIME, &now);
  result->tv_sec = now.tv_sec;
  result->tv_usec = now.tv_nsec / 1000;
  return 0;
}
