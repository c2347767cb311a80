// Version resources: the image has the one that setVersionInfo() describes, no other file has any.
#include <cstring>
#include <mutex>

#include "platform/simulated/calls.h"
#include "platform/simulated/control.h"
#include "platform/simulated/process.h"

namespace qv::sim {

namespace {

// A block is a header and rows one behind the other; only VerQueryValueW reads it. Every row starts at a multiple of four.
constexpr uint32_t kMagic = 0x31525651;

struct BlockHeader {
  uint32_t magic;
  uint32_t bytes;
  uint32_t rows;
};

struct RowHeader {
  uint32_t keyUnits;  // UTF-16 units of the path
  uint32_t valueBytes;
  uint32_t length;  // as VerQueryValueW reports it
};

struct Resource {
  std::mutex lock;
  std::vector<BYTE> block;  // empty when the image has none
};

Resource& resource() {
  static Resource& instance = *new Resource;
  return instance;
}

void append(std::vector<BYTE>* block, const void* data, size_t bytes) {
  auto from = static_cast<const BYTE*>(data);
  block->insert(block->end(), from, from + bytes);
  block->resize((block->size() + 3) / 4 * 4);
}

void appendRow(std::vector<BYTE>* block, std::u16string_view key, const void* value, size_t bytes, uint32_t length) {
  RowHeader row{static_cast<uint32_t>(key.size()), static_cast<uint32_t>(bytes), length};
  append(block, &row, sizeof row);
  append(block, key.data(), key.size() * 2);
  append(block, value, bytes);
}

size_t padded(size_t bytes) { return (bytes + 3) / 4 * 4; }

bool samePath(const char16_t* left, size_t units, std::u16string_view right) {
  auto lower = [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c; };
  if (units != right.size()) {
    return false;
  }
  for (size_t i = 0; i < units; ++i) {
    if (lower(left[i]) != lower(right[i])) {
      return false;
    }
  }
  return true;
}

}  // namespace

void setVersionInfo(const std::optional<VersionInfo>& info) {
  std::vector<BYTE> block;
  if (info) {
    BlockHeader header{kMagic, 0, 0};
    append(&block, &header, sizeof header);
    if (info->hasFixedInfo) {
      VS_FIXEDFILEINFO fixed{};
      fixed.dwSignature = 0xFEEF04BD;
      fixed.dwStrucVersion = 0x10000;
      fixed.dwProductVersionMS = static_cast<DWORD>(info->productMajor) << 16;
      size_t bytes = info->fixedInfoSize < sizeof fixed ? info->fixedInfoSize : sizeof fixed;
      appendRow(&block, u"\\", &fixed, bytes, static_cast<uint32_t>(bytes));
      ++header.rows;
    }
    if (!info->translations.empty()) {
      std::vector<uint16_t> words;
      for (auto [language, codePage] : info->translations) {
        words.push_back(language);
        words.push_back(codePage);
      }
      appendRow(&block, u"\\VarFileInfo\\Translation", words.data(), words.size() * 2, static_cast<uint32_t>(words.size() * 2));
      ++header.rows;
    }
    for (const auto& [key, text] : info->strings) {
      appendRow(&block, key, text.c_str(), (text.size() + 1) * 2, static_cast<uint32_t>(text.size() + 1));
      ++header.rows;
    }
    header.bytes = static_cast<uint32_t>(block.size());
    std::memcpy(block.data(), &header, sizeof header);
  }
  std::lock_guard guard(resource().lock);
  resource().block = std::move(block);
}

void resetVersionInfo() { setVersionInfo(std::nullopt); }

}  // namespace qv::sim

using namespace qv::sim;

DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR path, LPDWORD handle) {
  Call call(Fn::GetFileVersionInfoSizeW);
  if (call.fails()) {
    return call.value(DWORD{0});
  }
  if (handle != nullptr) {
    *handle = 0;
  }
  bool image = isImagePath(path);
  std::lock_guard guard(resource().lock);
  if (!image || resource().block.empty()) {
    setLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return call.value(DWORD{0});
  }
  return call.value(static_cast<DWORD>(resource().block.size()));
}

BOOL WINAPI GetFileVersionInfoW(LPCWSTR path, DWORD, DWORD size, LPVOID block) {
  Call call(Fn::GetFileVersionInfoW);
  if (call.fails()) {
    return call.value(FALSE);
  }
  bool image = isImagePath(path);
  std::lock_guard guard(resource().lock);
  if (!image || resource().block.empty() || block == nullptr) {
    setLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return call.value(FALSE);
  }
  if (size < resource().block.size()) {
    setLastError(ERROR_INSUFFICIENT_BUFFER);
    return call.value(FALSE);
  }
  std::memcpy(block, resource().block.data(), resource().block.size());
  return call.value(TRUE);
}

BOOL WINAPI VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID* value, PUINT length) {
  Call call(Fn::VerQueryValueW);
  if (call.fails()) {
    return call.value(FALSE);
  }
  auto bytes = static_cast<const BYTE*>(block);
  BlockHeader header{};
  if (block != nullptr) {
    std::memcpy(&header, bytes, sizeof header);
  }
  size_t at = sizeof header;
  for (uint32_t i = 0; header.magic == kMagic && subBlock != nullptr && i < header.rows; ++i) {
    RowHeader row;
    if (header.bytes - at < sizeof row) {
      break;
    }
    std::memcpy(&row, bytes + at, sizeof row);
    at += sizeof row;
    if (padded(size_t{row.keyUnits} * 2) + padded(row.valueBytes) > header.bytes - at) {
      break;
    }
    auto key = reinterpret_cast<const char16_t*>(bytes + at);
    at += padded(size_t{row.keyUnits} * 2);
    if (samePath(key, row.keyUnits, subBlock)) {
      *value = const_cast<BYTE*>(bytes + at);
      *length = row.length;
      return call.value(TRUE);
    }
    at += padded(row.valueBytes);
  }
  setLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
  return call.value(FALSE);
}
