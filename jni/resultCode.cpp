#include "resultCode.h"

#include <cerrno>

ResultCode convertError(ResultCode code) {
  switch (code) {
    case ENXIO:
    case EBADF:
    case EINVAL:
    case ESPIPE:
    case EOVERFLOW:
      return HASHCREATE_SEEK_ERROR;
    default:
      break;
  }
  const bool isPublic = code <= HASHCREATE_SUCCESS && code >= HASHCREATE_MEM_ALLOC_ERROR;
  return isPublic ? code : HASHCREATE_ERROR;
}
