#pragma once

// Included by the main file of each test program that lays out text. Read by the leak sanitizer.
//
// The toolkit keeps, once for every font and script, the list of other fonts for characters that a font has not, and
// forgets about it at the end; so it does what fontconfig has told it for these lists.
extern "C" const char* __lsan_default_suppressions(); // NOLINT(bugprone-reserved-identifier): the sanitizer's name
extern "C" const char* __lsan_default_suppressions() // NOLINT(bugprone-reserved-identifier,misc-definitions-in-headers)
{
    return "leak:QFontconfigDatabase::fontEngineMulti\nleak:libfontconfig.so\n";
}
