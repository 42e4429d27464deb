// A library without a factory: one plain function and a string table (ComponentResources.rc).
#include "ComponentTest.h"

extern "C" __declspec(dllexport) LONG WINAPI ComponentAdd(LONG ALeft, LONG ARight) { return ALeft + ARight; }
