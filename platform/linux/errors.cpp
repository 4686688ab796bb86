#include "platform/linux/errors.h"

#include <cerrno>

namespace platform
{

Fault faultof(int error)
{
    switch (error) {
    case 0:
        return Fault::none;
    case EIO:
    case EREMOTEIO:
    case ENODATA:
    case EILSEQ:
    case EBADMSG:
    case ETIMEDOUT:
        return Fault::medium;
    case ENXIO:
    case ENODEV:
    case ENOMEDIUM:
    case ENOENT:
    case ENOTDIR:
    case ENOLINK:
    case ESHUTDOWN:
    case ENOTCONN:
        return Fault::gone;
    case EACCES:
    case EPERM:
    case EROFS:
        return Fault::denied;
    case EBUSY:
    case ETXTBSY:
    case EBADE: // another host has reserved the drive
        return Fault::busy;
    case EINVAL:
    case EBADF:
    case EFAULT:
    case ENOTBLK:
    case EISDIR:
        return Fault::badargument;
    case ENOTTY:
    case EOPNOTSUPP:
    case ENOSYS:
        return Fault::unsupported;
    default:
        return Fault::other;
    }
}

} // namespace platform
