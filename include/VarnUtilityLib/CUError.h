// CUError.h — the library's error codes.
//
// Operations that fail throw one of these codes as an `unsigned int` (catch it with
// `catch (unsigned int code)`). One operation, CUMemoryStream::InitByStreamAndRange, throws the
// code typed as `_CUErrorContents` instead; it is documented there. Operations that report
// instead of throwing return a status: kCUStatusSuccess or one of the kCUStatus... failures.
#pragma once

/// Error codes thrown by the library. The values are fixed; 6 is never thrown.
enum _CUErrorContents : unsigned int {
    CUError_NotReady = 1,          ///< object not ready, initialisation failed, empty name
    CUError_InvalidArgument = 2,   ///< a required argument is null or unusable
    CUError_DirectoryNotFound = 3, ///< a directory does not exist or is not a directory
    CUError_PlatformFailure = 4,   ///< the system refused, or a mode conflict
    CUError_NotSupported = 5,      ///< the operation is not supported by this object
    CUError_Unused = 6,            ///< never thrown
    CUError_IsDirectory = 7,       ///< a directory was named where a file is required
    CUError_DeleteFailed = 8,      ///< the file system refused to delete a file
    CUError_FileNotFound = 9,      ///< a required file does not exist
};

/// Status returned by operations that report instead of throwing. Callers test the low 16 bits.
inline constexpr unsigned int kCUStatusSuccess = 0;
inline constexpr unsigned int kCUStatusFailure = 0x10001;

/// True when a status reports a failure (its low 16 bits are not zero).
constexpr bool CUStatusFailed(unsigned int status) {
    return (status & 0xFFFFu) != 0;
}
