// Stands where the compression library would; the scripted library looks for this name while it
// is loaded, and so knows whether the compression library was there, and visible, before it.
extern "C" int standin_zlib_mark() { return 1; }
