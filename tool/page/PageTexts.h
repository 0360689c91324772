// PageTexts are the templates of the pages, their style and their script, put into the program when
// it is built.
#pragma once

namespace accountsettings {

extern const char* const kPageHead;  // up to the begin of the body
extern const char* const kPageStyle;
extern const char* const kDevicePage;
extern const char* const kAccountItem;
extern const char* const kFindingItem;
extern const char* const kFleetPage;
extern const char* const kFleetScript;

}  // namespace accountsettings
