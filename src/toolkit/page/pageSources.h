#pragma once

#include <string_view>

namespace trimora {

/// The files of this folder, as embed.cmake put them in.
extern std::string_view const
    pageTemplate;  ///< with {{title}}, {{style}}, {{data}} and {{script}} to be filled in
extern std::string_view const pageStyle;
extern std::string_view const pageScript;  ///< all scripts, each after those it uses

}  // namespace trimora
