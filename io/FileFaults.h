// Where a test build makes file operations fail, as if the device had stopped
// answering there, to prove that every interrupted edit keeps the audio. The
// shipped library is built without WAVE_TEST_SEAMS: every check is then the
// constant false and compiles to nothing.
#pragma once

enum class FileOp { Read, Write, Seek, Flush, Rename };

#ifdef WAVE_TEST_SEAMS
// True when the armed test fault makes this operation fail (defined by the tests).
bool FileFaultHits(FileOp op);
#else
constexpr bool FileFaultHits(FileOp) { return false; }
#endif

// What a failed operation reports: ERROR_WRITE_FAULT, a device that stopped answering.
inline constexpr unsigned kErrorInjectedFault = 29;
