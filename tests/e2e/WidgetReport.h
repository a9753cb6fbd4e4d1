#pragma once

namespace harrowmint::test {

/// Lets a test look at the agent's windows from outside: it writes a line to the agent's standard input and gets one
/// back on its standard output. To "widgets" that is a JSON array of what can be seen: each widget's name (its object
/// name, else its text), its text, window title and place on the screen, and whether it is enabled and checked. "close"
/// closes the settings window as its frame would and is answered with an empty array. Presses nothing: a test does that
/// as a user, through the display. Lasts as long as the application.
void reportWidgets();

} // namespace harrowmint::test
