#include "io/XFile.h"

#include <algorithm>
#include <random>
#include <vector>

#include "io/Text.h"

namespace {
// A sharing violation is retried for this long after the first one: long
// enough for a player or tagger to finish with the file, short enough that a
// file held for good does not hang the host forever.
constexpr std::uint64_t kShareRetryLimitMs = 60000;
constexpr std::uint32_t kShareRetryPauseMs = 100;

// A rename over the target can fail briefly while a virus scanner or an
// indexer looks at the freshly closed file.
constexpr int kRenameAttempts = 10;
constexpr std::uint32_t kRenamePauseMs = 50;

constexpr std::u16string_view kLongPathPrefix = u"\\\\?\\";

// ERROR_FILE_EXISTS and ERROR_ALREADY_EXISTS: the name is taken.
constexpr std::uint32_t kErrorFileExists = 80;
constexpr std::uint32_t kErrorAlreadyExists = 183;
// Another program may have planted a file under a name we pick; a few fresh
// names later the chance of every one being taken is nil.
constexpr int kTemporaryNameAttempts = 16;
}  // namespace

XFile::~XFile() { Close(); }

std::u16string XFile::LongPath(std::u16string_view path, std::size_t limit) {
  if (path.starts_with(u"\\\\") || path.size() < limit) return std::u16string(path);
  std::u16string out(kLongPathPrefix);
  out += path;
  return out;
}

std::u16string XFile::OpenErrorText(std::u16string_view path, std::uint32_t lastError) {
  if (path.empty()) return u"No file specified!";
  std::u16string text = u"Error opening file '";
  text += path;
  text += u"', check no other program has it open.";
  if (lastError != 0) {
    text += u" (Win:";
    text += ToTextU(lastError);
    text += u')';
  }
  return text;
}

bool XFile::Open(std::u16string_view path, std::uint32_t access, std::uint32_t disposition) {
  Close();
  path_ = path;
  prompt_ = false;
  lastError_ = 0;
  return Attempt(path, access, disposition);
}

bool XFile::OpenRead(std::u16string_view path) { return Open(path, kGenericRead, kOpenExisting); }

bool XFile::OpenUpdate(std::u16string_view path) { return Open(path, kGenericRead | kGenericWrite, kOpenExisting); }

bool XFile::Create(std::u16string_view path) {
  shareMode_ = 3;
  return Open(path, kGenericRead | kGenericWrite, kCreateAlways);
}

bool XFile::CreateNew(std::u16string_view path) {
  shareMode_ = 3;
  // Leave to change the permissions: the copy must get the original's.
  return Open(path, kGenericRead | kGenericWrite | kWriteDac, kCreateNew);
}

bool XFile::CreateTemporaryBeside(std::u16string_view target) {
  std::random_device random;
  for (int attempt = 0; attempt < kTemporaryNameAttempts; ++attempt) {
    const std::uint64_t unpredictable = std::uint64_t(random()) << 32 | random();
    std::u16string name(target);
    name += u".~";
    for (int shift = 60; shift >= 0; shift -= 4) name.push_back(u"0123456789abcdef"[(unpredictable >> shift) & 15]);
    name += u".tmp";
    if (CreateNew(name)) return true;
    if (lastError_ != kErrorFileExists && lastError_ != kErrorAlreadyExists) return false;
  }
  return false;
}

bool XFile::OpenReadMedia(std::u16string_view path) { return OpenWithRetry(path, kGenericRead); }

bool XFile::OpenUpdateMedia(std::u16string_view path) { return OpenWithRetry(path, kGenericRead | kGenericWrite); }

bool XFile::OpenWithRetry(std::u16string_view path, std::uint32_t access) {
  bool failedBefore = false;
  std::uint64_t firstFailure = 0;
  for (;;) {
    if (Open(path, access, kOpenExisting)) return true;
    if (lastError_ != kErrorSharingViolation) return false;
    const std::uint64_t now = TickMs();
    if (!failedBefore) {
      failedBefore = true;
      firstFailure = now;
    } else if (now - firstFailure > kShareRetryLimitMs) {
      return false;
    }
    SleepMs(kShareRetryPauseMs);
  }
}

void XFile::Attach(FileHandle handle) {
  Close();
  handle_ = handle;
  owns_ = false;
  prompt_ = false;
}

bool XFile::CommitRewrite() {
  // The copy must be on the device before it takes the original's name, or a
  // power loss could leave an empty or torn file under that name.
  if (!Flush()) {
    DiscardRewrite();
    return false;
  }
  Close();
  // An empty name cannot start to work on a later attempt.
  const bool renamable = !path_.empty() && !rewriteTarget_.empty();
  for (int attempt = 0; renamable && attempt < kRenameAttempts; ++attempt) {
    if (attempt > 0) SleepMs(kRenamePauseMs);
    if (Rename(rewriteTarget_)) {
      // The edit is done once the name points at the copy; making the rename
      // itself durable is all that is left, and cannot undo it.
      SyncDirectoryOf(rewriteTarget_);
      return true;
    }
  }
  RemoveFile(path_);
  return false;
}

bool XFile::FinishRewrite() {
  if (!IsOpen()) return true;
  if (!commit_) {
    Close();
    return RemoveFile(path_);
  }
  return CommitRewrite();
}

void XFile::DiscardRewrite() {
  Close();
  RemoveFile(path_);
}

namespace {
// Big enough that moving a long tail costs few calls, small enough to stay off the heap's large-block path.
constexpr std::int64_t kMoveBlock = 1 << 20;
// A whole copy through memory goes in large pieces: the system's own read-ahead and write-behind keep up.
constexpr std::int64_t kCopyBlock = std::int64_t(8) << 20;
}  // namespace

bool XFile::OpenUp(std::int64_t position, std::int64_t amount) {
  const std::int64_t size = Size();
  if (size < 0 || position < 0 || amount < 0 || position > size) return false;
  if (amount == 0) return true;
  std::vector<std::uint8_t> block(std::size_t(std::min(kMoveBlock, std::max<std::int64_t>(size - position, 1))));
  // From the end backwards, so that no block is overwritten before it has moved.
  for (std::int64_t end = size; end > position;) {
    const std::int64_t start = std::max(position, end - std::int64_t(block.size()));
    const std::int64_t n = end - start;
    if (!Seek(start) || Read(block.data(), n) != n) return false;
    if (!Seek(start + amount) || !Write(block.data(), n)) return false;
    end = start;
  }
  return true;
}

bool XFile::CloseUp(std::int64_t position, std::int64_t amount) {
  const std::int64_t size = Size();
  if (size < 0 || position < 0 || amount < 0 || amount > size - position) return false;
  if (amount == 0) return true;
  std::vector<std::uint8_t> block(std::size_t(std::min(kMoveBlock, std::max<std::int64_t>(size - position, 1))));
  for (std::int64_t from = position + amount; from < size;) {
    const std::int64_t n = std::min<std::int64_t>(std::int64_t(block.size()), size - from);
    if (!Seek(from) || Read(block.data(), n) != n) return false;
    if (!Seek(from - amount) || !Write(block.data(), n)) return false;
    from += n;
  }
  return SetSize(size - amount);
}

bool XFile::CopyThroughBuffer(XFile& source, std::int64_t from, std::int64_t count, std::int64_t at) {
  if (count <= 0) return count == 0;
  std::vector<std::uint8_t> block(std::size_t(std::min(kCopyBlock, count)));
  if (!source.Seek(from) || !Seek(at)) return false;
  while (count > 0) {
    const std::int64_t n = std::min<std::int64_t>(count, std::int64_t(block.size()));
    if (source.Read(block.data(), n) != n || !Write(block.data(), n)) return false;
    count -= n;
  }
  return true;
}
