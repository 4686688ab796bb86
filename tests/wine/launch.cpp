// Starts a program with a DLL loaded before its first instruction:
//
//   quarn-launch DLL PROGRAM
//
// Ends with the program's status.

#include "platform/windows/windows.h"

#include <cstdio>
#include <cstring>

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION program{};
    if (!::CreateProcessA(argv[2], nullptr, nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr,
                          nullptr, &startup, &program)) {
        std::fprintf(stderr, "can't start %s, error %lu\n", argv[2], ::GetLastError());
        return 2;
    }
    // kernel32 has the same address in every process, and LoadLibraryA the form of a thread's start
    const std::size_t bytes = std::strlen(argv[1]) + 1;
    void *name = ::VirtualAllocEx(program.hProcess, nullptr, bytes, MEM_COMMIT | MEM_RESERVE,
                                  PAGE_READWRITE);
    const auto load = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void *>(::GetProcAddress(::GetModuleHandleA("kernel32"), "LoadLibraryA")));
    ::WriteProcessMemory(program.hProcess, name, argv[1], bytes, nullptr);
    const HANDLE loader =
        ::CreateRemoteThread(program.hProcess, nullptr, 0, load, name, 0, nullptr);
    ::WaitForSingleObject(loader, INFINITE);
    DWORD loaded = 0;
    if (!::GetExitCodeThread(loader, &loaded) || loaded == 0) {
        std::fprintf(stderr, "can't load %s\n", argv[1]);
        ::TerminateProcess(program.hProcess, 2);
        return 2;
    }
    ::ResumeThread(program.hThread);
    ::WaitForSingleObject(program.hProcess, INFINITE);
    DWORD status = 2;
    ::GetExitCodeProcess(program.hProcess, &status);
    return static_cast<int>(status);
}
