/* Loaded before all others into a program that qemu-user runs (tools/cross-arm64), so that it can
 * start other programs:
 * - the emulator passes a question about process file descriptors on to the kernel, which knows
 * them, but refuses to create one with clone(); Qt then takes every start of a process for failed.
 * - the kernel can't execute a program of another architecture, such as this one's own file in
 * bin/arm64; the script of the same name in bin/ starts the emulator on it. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <limits.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#define PIDFD 3 /* P_PIDFD, which older headers lack */

__attribute__((constructor)) static void forget(void)
{
    unsetenv("LD_PRELOAD"); /* programs of this machine can't load it */
}

long syscall(long number, ...)
{
    long a[6];
    va_list list;
    va_start(list, number);
    for (int i = 0; i < 6; ++i) {
        a[i] = va_arg(list, long);
    }
    va_end(list);
    if (number == SYS_waitid && a[0] == PIDFD) {
        errno = EINVAL;
        return -1;
    }
    long (*real)(long, ...) = (long (*)(long, ...))dlsym(RTLD_NEXT, "syscall");
    return real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}

/* The path to execute in place of this one; the result is held in `place`. */
static const char* startable(const char* path, char place[PATH_MAX])
{
    static const char folder[] = "/bin/arm64/";
    if (realpath(path, place) == NULL) {
        return path;
    }
    char* at = strstr(place, folder);
    if (at == NULL) {
        return path;
    }
    at += strlen("/bin/");
    const char* name = at + strlen("arm64/");
    memmove(at, name, strlen(name) + 1);
    return place;
}

int execve(const char* path, char* const argv[], char* const envp[])
{
    char place[PATH_MAX];
    int (*real)(const char*, char* const[], char* const[]) =
        (int (*)(const char*, char* const[], char* const[]))dlsym(RTLD_NEXT, "execve");
    return real(startable(path, place), argv, envp);
}

int execv(const char* path, char* const argv[])
{
    return execve(path, argv, environ);
}
