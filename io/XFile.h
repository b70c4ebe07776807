// The one file class: opens, reads, writes, sizes, truncates, renames and
// deletes files through the platform, with long paths, the retry on sharing
// violations, and the commit/discard of a rewrite through a temporary file.
// Error codes are Windows codes on every platform (POSIX maps errno).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// A platform file handle as an integer: a HANDLE on Windows, a descriptor on POSIX.
using FileHandle = std::uintptr_t;
inline constexpr FileHandle kInvalidFileHandle = ~FileHandle{0};

// Windows error codes the system reports and tests for.
inline constexpr std::uint32_t kErrorFileNotFound = 2;
inline constexpr std::uint32_t kErrorAccessDenied = 5;
inline constexpr std::uint32_t kErrorSharingViolation = 32;
inline constexpr std::uint32_t kErrorHandleEof = 38;

// Access and creation values as CreateFileW takes them.
inline constexpr std::uint32_t kGenericRead = 0x80000000u;
inline constexpr std::uint32_t kGenericWrite = 0x40000000u;
inline constexpr std::uint32_t kWriteDac = 0x00040000u;
inline constexpr std::uint32_t kCreateNew = 1;
inline constexpr std::uint32_t kCreateAlways = 2;
inline constexpr std::uint32_t kOpenExisting = 3;

enum class SeekOrigin { Begin = 0, Current = 1, End = 2 };

class XFile {
 public:
  XFile() = default;
  ~XFile();
  XFile(const XFile&) = delete;
  XFile& operator=(const XFile&) = delete;

  // Read access; retries a sharing violation every 100 ms for up to 60 s.
  bool OpenReadMedia(std::u16string_view path);
  // Read and write access; retries like OpenReadMedia.
  bool OpenUpdateMedia(std::u16string_view path);
  // Read access, no retry.
  bool OpenRead(std::u16string_view path);
  // Read and write access, no retry.
  bool OpenUpdate(std::u16string_view path);
  // Creates or truncates the file for read and write (share mode reset to 3).
  bool Create(std::u16string_view path);
  // Creates a file that must not exist yet, never through a link, for read and
  // write; on POSIX private to its owner (0600) until given other permissions.
  bool CreateNew(std::u16string_view path);
  // Creates a new file beside `target` under a name no other program can predict.
  bool CreateTemporaryBeside(std::u16string_view target);
  // Any access and creation disposition, no retry.
  bool Open(std::u16string_view path, std::uint32_t access, std::uint32_t disposition);

  // Takes a foreign handle without ownership (an owned one is closed first).
  void Attach(FileHandle handle);
  // Closes the handle if owned; the handle becomes invalid either way.
  void Close();

  // Reads up to count bytes; returns how many were read. End of file is not an error.
  std::int64_t Read(void* buffer, std::int64_t count, bool* error = nullptr);
  // True when all count bytes were written. A null buffer is fine only for count 0.
  bool Write(const void* buffer, std::int64_t count);
  bool Seek(std::int64_t position, SeekOrigin origin = SeekOrigin::Begin);
  // Current position, or -1.
  std::int64_t Tell();
  // Size in bytes, or -1.
  std::int64_t Size();
  // Writes what the system still holds in memory for this file to the device.
  bool Flush();
  // How many names (hard links) the open file has; 0 when that cannot be told.
  std::uint32_t LinkCount();
  // The path of the file the open path leads to: a symbolic link resolved, any other path as it is.
  std::u16string ResolvedPath();
  // Gives this file the permissions of `original` and, where the process may set it, its owner.
  bool CopyAccessFrom(XFile& original);
  // Makes a rename in the directory of `path` durable (POSIX: syncs the directory).
  static bool SyncDirectoryOf(std::u16string_view path);
  // Moves to length and truncates or extends the file there.
  bool SetSize(std::int64_t length);
  // Renames this object's path to `to`, replacing an existing file; path() keeps the old name.
  bool Rename(std::u16string_view to);
  // Copies count bytes at `from` of source to `at` of this file, by the fastest way the
  // system offers (in the kernel where it can); false when they do not all arrive.
  bool CopyFrom(XFile& source, std::int64_t from, std::int64_t count, std::int64_t at);
  // Moves everything from position to the end back by amount bytes, last block first;
  // the gap keeps its old bytes. Only for files nobody else relies on while it runs.
  bool OpenUp(std::int64_t position, std::int64_t amount);
  // Moves everything from position + amount to the end forward by amount and shortens the file.
  bool CloseUp(std::int64_t position, std::int64_t amount);

  // Deletes a file; on access denied clears the read-only attribute and tries once more.
  static bool RemoveFile(std::u16string_view path, bool secondTry = false);
  // True when a file or directory exists at path.
  static bool Exists(std::u16string_view path);

  // The rewrite target: the path a temporary file replaces on commit.
  void SetRewriteTarget(std::u16string_view target) { rewriteTarget_ = target; }
  void SetCommit(bool commit) { commit_ = commit; }
  // Flushes and closes the temporary file and renames it over the target
  // (10 attempts, 50 ms apart), durably.
  bool CommitRewrite();
  // Nothing begun: true. Commit flag clear: discard. Otherwise CommitRewrite.
  bool FinishRewrite();
  // Closes and deletes the temporary file.
  void DiscardRewrite();

  // The text a failed open is reported with; lastError 0 adds no "(Win:n)" suffix.
  static std::u16string OpenErrorText(std::u16string_view path, std::uint32_t lastError);
  // The long-path form of a path for a call whose limit is `limit` characters.
  static std::u16string LongPath(std::u16string_view path, std::size_t limit);

  bool IsOpen() const { return handle_ != kInvalidFileHandle; }
  FileHandle handle() const { return handle_; }
  bool owns() const { return owns_; }
  void SetOwns(bool owns) { owns_ = owns; }
  const std::u16string& path() const { return path_; }
  void SetShareMode(std::uint32_t mode) { shareMode_ = mode; }
  // Windows error code of the last failed operation (0 when none).
  std::uint32_t LastError() const { return lastError_; }

 private:
  bool OpenWithRetry(std::u16string_view path, std::uint32_t access);
  // CopyFrom through a buffer of our own, where the system has no better way.
  bool CopyThroughBuffer(XFile& source, std::int64_t from, std::int64_t count, std::int64_t at);
  // One CreateFileW-like attempt; sets handle_, owns_, lastError_.
  bool Attempt(std::u16string_view path, std::uint32_t access, std::uint32_t disposition);
  // Milliseconds of a monotonic clock, and a sleep of the calling thread.
  static std::uint64_t TickMs();
  static void SleepMs(std::uint32_t ms);

  std::u16string path_;
  FileHandle handle_ = kInvalidFileHandle;
  bool prompt_ = false;
  bool owns_ = false;
  std::uint32_t shareMode_ = 3;
  std::u16string rewriteTarget_;
  bool commit_ = false;
  std::uint32_t lastError_ = 0;
};
