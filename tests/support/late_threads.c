/* late_threads.so: preloaded, it lets threads begin and end late, by random times that a seed
 * determines (docs/reliability.md).
 *
 *   LD_LIBRARY_PATH="$PWD/build/release/lib" LD_PRELOAD=late_threads.so LATE_THREADS_SEED=1 \
 *       ctest --test-dir build/release -R tst_mainwindow
 *
 * Three of four threads begin up to 600 ms late; one of four ends up to 300 ms late, after its last
 * statement and before a join returns. Only the programs of the build that the library belongs to
 * are concerned, and only with LATE_THREADS_SEED; in these not the drawing threads of the software
 * OpenGL, of which there are hundreds. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

enum { LATEST_BEGIN_MS = 600, LATEST_END_MS = 300, PATH_BYTES = 4096 };

typedef void* (*Routine)(void*);
typedef int (*Create)(pthread_t*, const pthread_attr_t*, Routine, void*);

typedef struct
{
    Routine routine;
    void* argument;
    unsigned before_ms;
    unsigned after_ms;
} Start;

static int active;
static uint64_t seed;
static atomic_ullong threads;

/* A number of the thread with this number (SplitMix64). */
static uint64_t random_of(uint64_t number)
{
    uint64_t value = seed * 0x9E3779B97F4A7C15U + number * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31U);
}

/* Whether the path is of a program below bin/ of the build with the library below lib/. */
static int is_of_this_build(const char* program)
{
    Dl_info own;
    char library[PATH_BYTES];
    if (dladdr((void*)&active, &own) == 0 || own.dli_fname == NULL ||
        realpath(own.dli_fname, library) == NULL) {
        return 0;
    }
    char* const end = strstr(library, "/lib/late_threads.so");
    if (end == NULL) {
        return 0;
    }
    const size_t length = (size_t)(end - library);
    return strncmp(program, library, length) == 0 && strncmp(program + length, "/bin/", 5) == 0;
}

__attribute__((constructor)) static void prepare(void)
{
    const char* const text = getenv("LATE_THREADS_SEED");
    char program[PATH_BYTES];
    const ssize_t length = readlink("/proc/self/exe", program, sizeof program - 1);
    if (text == NULL || length <= 0) {
        return;
    }
    program[length] = '\0';
    active = is_of_this_build(program);
    seed = strtoull(text, NULL, 10);
    for (const char* name = strrchr(program, '/'); *name != '\0'; ++name) {
        seed = seed * 31 + (unsigned char)*name; /* programs differ */
    }
}

static void pause_ms(unsigned ms)
{
    struct timespec rest = {ms / 1000, (long)(ms % 1000) * 1000000};
    int is_left = ms > 0;
    while (is_left) {
        is_left = clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) != 0;
    }
}

static void* run_late(void* data)
{
    const Start start = *(Start*)data;
    free(data);
    pause_ms(start.before_ms);
    void* const result = start.routine(start.argument);
    pause_ms(start.after_ms);
    return result;
}

static int draws(Routine routine)
{
    Dl_info where;
    void* address = NULL;
    memcpy(&address, &routine, sizeof address);
    return dladdr(address, &where) != 0 && where.dli_fname != NULL &&
           (strstr(where.dli_fname, "swrast") != NULL ||
            strstr(where.dli_fname, "gallium") != NULL || strstr(where.dli_fname, "LLVM") != NULL ||
            strstr(where.dli_fname, "libGL") != NULL);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, Routine routine,
                   void* argument)
{
    Create create = NULL;
    void* const found = dlsym(RTLD_NEXT, "pthread_create");
    memcpy(&create, &found, sizeof create);
    Start* const start = active && !draws(routine) ? malloc(sizeof *start) : NULL;
    if (start == NULL) {
        return create(thread, attributes, routine, argument);
    }
    const uint64_t random = random_of(atomic_fetch_add(&threads, 1));
    start->routine = routine;
    start->argument = argument;
    start->before_ms = random % 4 != 0 ? (unsigned)((random >> 8U) % (LATEST_BEGIN_MS + 1)) : 0;
    start->after_ms =
        (random >> 40U) % 4 == 0 ? (unsigned)((random >> 44U) % (LATEST_END_MS + 1)) : 0;
    const int result = create(thread, attributes, run_late, start);
    if (result != 0) {
        free(start);
    }
    return result;
}
