// The one export of the version test libraries: they are read, never run.
extern "C" __declspec(dllexport) int VersionStub() { return 0; }
