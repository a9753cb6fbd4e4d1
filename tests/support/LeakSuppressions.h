#pragma once

// Included by the main file of each test program that lays out text. Read by the leak sanitizer.
//
// The toolkit keeps, once for every font and script, the list of other fonts for characters that a font has not, and
// forgets about it at the end; so it does what fontconfig has told it for these lists.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:QFontconfigDatabase::fontEngineMulti\nleak:libfontconfig.so\n";
}
