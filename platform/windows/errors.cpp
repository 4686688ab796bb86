#include "platform/windows/errors.h"

namespace platform
{

namespace
{

// Codes that some versions of the system's headers lack.
constexpr DWORD devicefeaturenotsupported = 316;
constexpr DWORD deviceunreachable = 321;
constexpr DWORD offsetalignmentviolation = 327;
constexpr DWORD nosuchdevice = 433;
constexpr DWORD devicehardwareerror = 483;
constexpr DWORD elevationrequired = 740;

} // namespace

Fault faultof(DWORD code)
{
    switch (code) {
    case ERROR_SUCCESS:
        return Fault::none;
    case ERROR_CRC:
    case ERROR_SEEK:
    case ERROR_SECTOR_NOT_FOUND:
    case ERROR_WRITE_FAULT:
    case ERROR_READ_FAULT:
    case ERROR_GEN_FAILURE:
    case ERROR_SEM_TIMEOUT: // the drive did not answer in time
    case devicehardwareerror:
    case ERROR_IO_DEVICE:
    case ERROR_DISK_OPERATION_FAILED:
    case ERROR_DISK_RESET_FAILED:
    case ERROR_DISK_CORRUPT:
    case ERROR_FILE_CORRUPT:
    // also the answer of a drive that is busy after a bad sector; a removed one fails the next
    // request with another code
    case ERROR_NOT_READY:
        return Fault::medium;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_UNIT:
    case ERROR_WRONG_DISK:
    case ERROR_DEV_NOT_EXIST:
    case deviceunreachable:
    case nosuchdevice:
    case ERROR_FILE_INVALID: // the disk of this handle was replaced
    case ERROR_MEDIA_CHANGED:
    case ERROR_NO_MEDIA_IN_DRIVE:
    case ERROR_DEVICE_NOT_CONNECTED:
    case ERROR_DEVICE_REMOVED:
    case ERROR_DEVICE_NOT_AVAILABLE:
        return Fault::gone;
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
    case ERROR_PRIVILEGE_NOT_HELD:
    case elevationrequired:
        return Fault::denied;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_BUSY:
    case ERROR_DRIVE_LOCKED:
    case ERROR_DEVICE_IN_USE:
        return Fault::busy;
    case ERROR_INVALID_FUNCTION:
    case ERROR_NOT_SUPPORTED:
    case ERROR_CALL_NOT_IMPLEMENTED:
    case devicefeaturenotsupported:
        return Fault::unsupported;
    case ERROR_INVALID_HANDLE:
    case ERROR_BAD_LENGTH:
    case ERROR_INVALID_PARAMETER:
    case ERROR_INVALID_NAME:
    case ERROR_NEGATIVE_SEEK:
    case ERROR_BAD_PATHNAME:
    case offsetalignmentviolation:
        return Fault::badargument;
    default:
        return Fault::other;
    }
}

Status lastfailure()
{
    const DWORD code = ::GetLastError();
    // a failed call is a failure even without a code
    return {code == ERROR_SUCCESS ? Fault::other : faultof(code), static_cast<int>(code)};
}

} // namespace platform
