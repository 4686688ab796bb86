#include "tests/wine/standin.h"

#include "platform/windows/windows.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

// Loaded into a program by quarn-launch: installs the disks described in the file QUARN_STANDIN.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        const char *file = std::getenv("QUARN_STANDIN");
        std::stringstream text;
        text << std::ifstream(file != nullptr ? file : "").rdbuf();
        standin::describe(text.str());
        standin::install();
    }
    return TRUE;
}
