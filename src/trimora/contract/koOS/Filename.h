#pragma once

#include "trimora/contract/koString/IString.h"
#include "trimora/export.h"

namespace koOS {

/// Name of a file and its parts. Parts are cut at '/' and come back in the native encoding.
///
///     "scans/bust.v2.obj":  dirname "scans/"  basename "bust.v2.obj"  baseTrunk "bust.v2"
///
/// dirname() + basename() is always the whole name.
class TRIMORA_API Filename {
public:
    Filename(koString::IString const& name) : name_(name) {}

    koString::IString const& name() const { return name_; }
    /// The name for opening the file.
    koString::CString path() const { return name_.asMultibyte(koString::Encoding::Native); }

    /// What follows the last '/'; the whole name without one.
    koString::CString basename() const;
    /// basename() without its extension, which starts at its last '.'; a leading '.' starts none, nor do "." and "..".
    koString::CString baseTrunk() const;
    /// Everything up to and including the last '/'; empty without one.
    koString::CString dirname() const;

private:
    koString::IString name_;
};

}  // namespace koOS
