#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "io/FileFaults.h"
#include "io/Text.h"
#include "io/XFile.h"

namespace {
// Windows creation dispositions beyond those the header names.
constexpr std::uint32_t kOpenAlways = 4;
constexpr std::uint32_t kTruncateExisting = 5;

// The largest piece one read or write call is asked to move, as on Windows.
constexpr std::int64_t kMaxPiece = 0x80000000;

// Callers compare against Windows codes, so errno is reported as the Windows
// error the same failure would have produced there.
std::uint32_t WindowsError(int err) {
  switch (err) {
    case 0:
      return 0;
    case ENOENT:
      return 2;  // ERROR_FILE_NOT_FOUND
    case ENOTDIR:
      return 3;  // ERROR_PATH_NOT_FOUND
    case EMFILE:
    case ENFILE:
      return 4;  // ERROR_TOO_MANY_OPEN_FILES
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case ENOTEMPTY:
      return kErrorAccessDenied;
    case EBADF:
      return 6;  // ERROR_INVALID_HANDLE
    case ENOMEM:
      return 8;  // ERROR_NOT_ENOUGH_MEMORY
    case EXDEV:
      return 17;  // ERROR_NOT_SAME_DEVICE
    case EWOULDBLOCK:
    case EBUSY:
    case ETXTBSY:
      return kErrorSharingViolation;
    case EEXIST:
      return 80;  // ERROR_FILE_EXISTS
    case EINVAL:
      return 87;  // ERROR_INVALID_PARAMETER
    case ENOSPC:
      return 112;  // ERROR_DISK_FULL
    case ENAMETOOLONG:
      return 206;  // ERROR_FILENAME_EXCED_RANGE
    case EFBIG:
      return 223;  // ERROR_FILE_TOO_LARGE
    default:
      return 31;  // ERROR_GEN_FAILURE
  }
}

std::string NativePath(std::u16string_view path) { return WideToUtf8(path); }

int OpenFlags(std::uint32_t access, std::uint32_t disposition) {
  int flags = O_CLOEXEC;
  const bool read = (access & kGenericRead) != 0;
  const bool write = (access & kGenericWrite) != 0;
  flags |= read && write ? O_RDWR : write ? O_WRONLY : O_RDONLY;
  // Truncation waits until the share lock is held: a file another program
  // holds must come out of a failed create untouched, as it does on Windows.
  // A new file is made by this call or not at all, and never through a link planted at its name.
  if (disposition == kCreateNew) flags |= O_CREAT | O_EXCL | O_NOFOLLOW;
  if (disposition == kCreateAlways || disposition == kOpenAlways) flags |= O_CREAT;
  return flags;
}

// Windows tells a missing folder (3) from a missing file (2); callers show the code.
std::uint32_t OpenError(int err, const std::string& path) {
  if (err == ENOENT) {
    const std::size_t slash = path.rfind('/');
    const std::string parent = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    struct stat info {};
    if (::stat(parent.c_str(), &info) != 0) return 3;  // ERROR_PATH_NOT_FOUND
  }
  return WindowsError(err);
}

int Descriptor(FileHandle handle) { return static_cast<int>(handle); }
}  // namespace

std::uint64_t XFile::TickMs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::uint64_t(now.tv_sec) * 1000 + std::uint64_t(now.tv_nsec) / 1000000;
}

void XFile::SleepMs(std::uint32_t ms) {
  timespec left{time_t(ms / 1000), long(ms % 1000) * 1000000};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

bool XFile::Attempt(std::u16string_view path, std::uint32_t access, std::uint32_t disposition) {
  owns_ = true;
  if (disposition < kCreateNew || disposition > kTruncateExisting) {
    lastError_ = 87;
    return false;
  }
  const std::string native = NativePath(path);
  const mode_t mode = disposition == kCreateNew ? 0600 : 0666;
  const int fd = ::open(native.c_str(), OpenFlags(access, disposition), mode);
  if (fd < 0) {
    lastError_ = OpenError(errno, native);
    return false;
  }
  // Windows share modes, emulated with advisory locks: a holder that shares
  // both reading and writing coexists with others like it; any narrower
  // share mode excludes every other open.
  const int lock = (shareMode_ & 3) == 3 ? LOCK_SH : LOCK_EX;
  struct stat info {};
  int failure = 0;
  if (::flock(fd, lock | LOCK_NB) != 0) {
    failure = errno;
  } else if (::fstat(fd, &info) != 0) {
    failure = errno;
  } else if (S_ISDIR(info.st_mode)) {
    failure = EACCES;  // CreateFileW refuses directories the same way
  } else if ((disposition == kCreateAlways || disposition == kTruncateExisting) && ::ftruncate(fd, 0) != 0) {
    failure = errno;
  }
  if (failure != 0) {
    ::close(fd);
    lastError_ = WindowsError(failure);
    return false;
  }
  handle_ = FileHandle(fd);
  return true;
}

void XFile::Close() {
  if (handle_ != kInvalidFileHandle && owns_) ::close(Descriptor(handle_));
  handle_ = kInvalidFileHandle;
}

std::int64_t XFile::Read(void* buffer, std::int64_t count, bool* error) {
  if (error) *error = false;
  if (count <= 0 || buffer == nullptr || !IsOpen()) {
    if (count == 0) return 0;
    lastError_ = 87;
    if (error) *error = true;
    return 0;
  }
  auto* p = static_cast<char*>(buffer);
  std::int64_t done = 0;
  while (done < count) {
    const auto piece = std::size_t(std::min(count - done, kMaxPiece));
    const ssize_t n = ::read(Descriptor(handle_), p + done, piece);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      lastError_ = WindowsError(errno);
      if (error) *error = true;
      return done;
    }
    if (n == 0) break;  // end of file
    done += n;
  }
  return done;
}

bool XFile::Write(const void* buffer, std::int64_t count) {
  if (FileFaultHits(FileOp::Write)) {
    lastError_ = kErrorInjectedFault;
    return false;
  }
  if (count == 0) return true;
  if (count < 0 || buffer == nullptr || !IsOpen()) {
    lastError_ = 87;
    return false;
  }
  const auto* p = static_cast<const char*>(buffer);
  std::int64_t done = 0;
  while (done < count) {
    const auto piece = std::size_t(std::min(count - done, kMaxPiece));
    const ssize_t n = ::write(Descriptor(handle_), p + done, piece);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      lastError_ = n < 0 ? WindowsError(errno) : WindowsError(ENOSPC);
      return false;
    }
    done += n;
  }
  return true;
}

bool XFile::Seek(std::int64_t position, SeekOrigin origin) {
  if (FileFaultHits(FileOp::Seek)) {
    lastError_ = kErrorInjectedFault;
    return false;
  }
  const int whence = origin == SeekOrigin::Begin ? SEEK_SET : origin == SeekOrigin::Current ? SEEK_CUR : SEEK_END;
  if (::lseek(Descriptor(handle_), off_t(position), whence) < 0) {
    lastError_ = WindowsError(errno);
    return false;
  }
  return true;
}

std::int64_t XFile::Tell() {
  const off_t at = ::lseek(Descriptor(handle_), 0, SEEK_CUR);
  if (at < 0) lastError_ = WindowsError(errno);
  return at < 0 ? -1 : std::int64_t(at);
}

std::int64_t XFile::Size() {
  struct stat info {};
  if (::fstat(Descriptor(handle_), &info) != 0) {
    lastError_ = WindowsError(errno);
    return -1;
  }
  return std::int64_t(info.st_size);
}

bool XFile::SetSize(std::int64_t length) {
  if (length < 0) {
    lastError_ = 87;
    return false;
  }
  if (!Seek(length)) return false;
  if (::ftruncate(Descriptor(handle_), off_t(length)) != 0) {
    lastError_ = WindowsError(errno);
    return false;
  }
  return true;
}

bool XFile::Rename(std::u16string_view to) {
  if (FileFaultHits(FileOp::Rename)) {
    lastError_ = kErrorInjectedFault;
    return false;
  }
  if (path_.empty() || to.empty()) {
    lastError_ = 87;
    return false;
  }
  if (::rename(NativePath(path_).c_str(), NativePath(to).c_str()) != 0) {
    lastError_ = WindowsError(errno);
    return false;
  }
  return true;
}

bool XFile::RemoveFile(std::u16string_view path, bool secondTry) {
  const std::string native = NativePath(path);
  errno = 0;
  if (::unlink(native.c_str()) == 0) return true;
  if (secondTry || WindowsError(errno) != kErrorAccessDenied) return false;
  struct stat info {};
  if (::stat(native.c_str(), &info) != 0 || S_ISDIR(info.st_mode)) return false;
  ::chmod(native.c_str(), info.st_mode | S_IWUSR);
  return RemoveFile(path, true);
}

bool XFile::Exists(std::u16string_view path) {
  if (path.empty()) return false;
  struct stat info {};
  return ::stat(NativePath(path).c_str(), &info) == 0;
}

bool XFile::Flush() {
  if (FileFaultHits(FileOp::Flush)) {
    lastError_ = kErrorInjectedFault;
    return false;
  }
  if (::fsync(Descriptor(handle_)) != 0) {
    lastError_ = WindowsError(errno);
    return false;
  }
  return true;
}

std::uint32_t XFile::LinkCount() {
  struct stat info {};
  if (::fstat(Descriptor(handle_), &info) != 0) return 0;
  return std::uint32_t(info.st_nlink);
}

std::u16string XFile::ResolvedPath() {
  const std::string native = NativePath(path_);
  struct stat info {};
  if (::lstat(native.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return path_;
  char* resolved = ::realpath(native.c_str(), nullptr);
  if (!resolved) return path_;
  const std::u16string out = Utf8ToWide(resolved);
  std::free(resolved);
  return out;
}

bool XFile::CopyAccessFrom(XFile& original) {
  struct stat info {};
  if (::fstat(Descriptor(original.handle_), &info) != 0) {
    lastError_ = WindowsError(errno);
    return false;
  }
  // Only a privileged process may give a file away, and a group only one it
  // belongs to: what cannot follow stays the process's; the permissions do follow.
  const int fd = Descriptor(handle_);
  if (::fchown(fd, info.st_uid, info.st_gid) != 0 && ::fchown(fd, uid_t(-1), info.st_gid) != 0) {
  }
  if (::fchmod(Descriptor(handle_), info.st_mode & 07777) != 0) {
    lastError_ = WindowsError(errno);
    return false;
  }
  return true;
}

bool XFile::SyncDirectoryOf(std::u16string_view path) {
  const std::string native = NativePath(path);
  const std::size_t slash = native.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : slash == 0 ? "/" : native.substr(0, slash);
  const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool ok = ::fsync(fd) == 0;
  ::close(fd);
  return ok;
}

bool XFile::CopyFrom(XFile& source, std::int64_t from, std::int64_t count, std::int64_t at) {
  // In the kernel, without a trip through our memory, where the file system allows it.
  off_t in = off_t(from), out = off_t(at);
  while (count > 0) {
    if (FileFaultHits(FileOp::Read) || FileFaultHits(FileOp::Write)) {
      lastError_ = kErrorInjectedFault;
      return false;
    }
    const ssize_t n = ::copy_file_range(Descriptor(source.handle_), &in, Descriptor(handle_), &out,
                                        std::size_t(std::min<std::int64_t>(count, kMaxPiece)), 0);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP))
      return CopyThroughBuffer(source, std::int64_t(in), count, std::int64_t(out));
    if (n <= 0) {
      lastError_ = n < 0 ? WindowsError(errno) : kErrorHandleEof;
      return false;
    }
    count -= n;
  }
  return true;
}
