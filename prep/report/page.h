/// The files that go into every page; their text is in ASCII.
#pragma once

#include <string>

namespace trqprep {

std::string ThreeScript();   ///< third_party/three/three.js
std::string ViewerScript();  ///< prep/report/page/viewer.js
std::string StyleSheet();    ///< prep/report/page/style.css

}  // namespace trqprep
