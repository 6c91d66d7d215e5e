#include "QuarrydexCore/audio/TextPool.h"

#include "QuarrydexCore/text/Fold.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace quarrydex {

TextPool::TextPool(std::string_view bytes)
    : memory_(std::make_shared<Mapping>(Mapping::reserve(maxBytes))) {
    if (!bytes.empty())
        std::memcpy(memory_->data(), bytes.data(), bytes.size());
    bytes_ = {static_cast<const char*>(memory_->data()), bytes.size()};
}

std::uint32_t TextPool::intern(std::string_view text) {
    text = text.substr(0, text.find('\0'));
    if (const auto found = interned_.find(text); found != interned_.end())
        return found->second;
    const std::uint32_t offset = append(text);
    if (offset != 0)
        interned_.emplace(textAt(bytes_, offset), offset);
    return offset;
}

std::uint32_t TextPool::append(std::string_view text) {
    text = text.substr(0, text.find('\0'));
    if (text.empty())
        return 0;
    const std::string folded = fold(text);
    // One byte more than the two texts and their ends: a damaged pool may lack its last NUL.
    if (text.size() + folded.size() + 3 > maxBytes - bytes_.size()) {
        std::fputs("the texts of an audio table exceed 4 GiB\n", stderr);
        std::abort();
    }
    if (memory_ == nullptr) {
        memory_ = std::make_shared<Mapping>(Mapping::reserve(maxBytes));
        bytes_ = {};
    }
    if (bytes_.empty() || bytes_.back() != '\0')
        appendTerminated({});
    const std::size_t offset = bytes_.size();
    appendTerminated(text);
    appendTerminated(folded);
    return static_cast<std::uint32_t>(offset);
}

void TextPool::appendTerminated(std::string_view text) {
    char* data = static_cast<char*>(memory_->data());
    char* end = data + bytes_.size();
    if (!text.empty())
        std::memcpy(end, text.data(), text.size());
    end[text.size()] = '\0';
    bytes_ = {data, bytes_.size() + text.size() + 1};
}

void TextPool::adopt(std::uint32_t offset) {
    const bool beginsText = offset != 0 && offset < bytes_.size() && bytes_[offset - 1] == '\0';
    if (!beginsText)
        return;
    const std::string_view text = textAt(bytes_, offset);
    if (text.empty() || interned_.contains(text))
        return;
    // A damaged file's texts are not spread to new rows: the folded copy must be the right one.
    const std::size_t folded = offset + text.size() + 1;
    if (folded < bytes_.size() && textAt(bytes_, static_cast<std::uint32_t>(folded)) == fold(text))
        interned_.emplace(text, offset);
}

} // namespace quarrydex
