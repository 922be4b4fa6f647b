#include "trimora/contract/koOS/Filename.h"

#include <string>
#include <string_view>

namespace koOS {

namespace {

/// Characters up to and including the last '/'.
std::size_t directoryLength(std::string_view path) {
    std::size_t const slash = path.rfind('/');
    return slash == std::string_view::npos ? 0 : slash + 1;
}

koString::CString toCString(std::string_view text) {
    return koString::CString(std::string(text).c_str());
}

}  // namespace

koString::CString Filename::basename() const {
    koString::CString const whole = path();
    std::string_view const text = whole.asChar();
    return toCString(text.substr(directoryLength(text)));
}

koString::CString Filename::baseTrunk() const {
    koString::CString const base = basename();
    std::string_view const text = base.asChar();
    std::size_t const dot = text.rfind('.');
    bool const hasExtension = dot != std::string_view::npos && dot > 0 && text != "..";
    return hasExtension ? toCString(text.substr(0, dot)) : base;
}

koString::CString Filename::dirname() const {
    koString::CString const whole = path();
    std::string_view const text = whole.asChar();
    return toCString(text.substr(0, directoryLength(text)));
}

}  // namespace koOS
