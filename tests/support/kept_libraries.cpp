/// @file
/// Keeps libraries in the process that are closed before it ends: the OpenGL driver, for one.
/// LeakSanitizer looks for leaks after that, and could not tell any more whose they are (lsan.supp
/// goes by the library's name); ThreadSanitizer ends the process when a library named in tsan.supp
/// goes.

extern "C" int dlclose(void*);

extern "C" int dlclose(void*)
{
    return 0;
}
