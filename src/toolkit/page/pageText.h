#pragma once

#include "trimora/export.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace trimora {

/// A text as it stands in HTML, between tags or in quoted attributes: UTF-8 whatever came in, without control characters.
TRIMORA_API std::string escapeHtml(std::string_view text);

/// Bytes as base64, with padding.
TRIMORA_API std::string encodeBase64(std::span<std::byte const> bytes);

/// Writes JSON that may stand in a script element: no "<", no ">", no "&", no line separators that scripts take for line ends.
///
/// Values follow their names or each other; commas come by themselves.
class TRIMORA_API ScriptJson {
public:
    ScriptJson& open(char bracket);  ///< '{' or '['
    ScriptJson& close(char bracket);
    ScriptJson& name(std::string_view name);
    /// UTF-8 whatever comes in: bytes that are none become U+FFFD.
    ScriptJson& text(std::string_view text);
    ScriptJson& number(double value);  ///< null for what is not finite
    ScriptJson& whole(std::int64_t value);
    ScriptJson& truth(bool value);
    ScriptJson& nothing();

    std::string const& str() const { return out_; }

private:
    void beginValue();

    std::string out_;
    bool needsComma_ = false;
};

}  // namespace trimora
