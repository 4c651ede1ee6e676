/// @file
/// Keeps libraries loaded that would be closed before the process ends, for example the OpenGL
/// driver. LeakSanitizer searches for leaks after that and could no longer find their library
/// (lsan.supp uses the library's name). ThreadSanitizer ends the process when a library named in
/// tsan.supp is unloaded.

extern "C" int dlclose(void*);

extern "C" int dlclose(void*)
{
    return 0;
}
