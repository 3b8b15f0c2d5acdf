// Pictures by gnuplot, which runs as a process of its own and gets everything by its standard input.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kor::tool {

enum class PictureKind { svg, png, pdf };

/// What the name of a file says: .svg, .png or .pdf, with .gz or .zst behind it to compress; nothing for other names.
std::optional<PictureKind> pictureNamed(const std::string& path);

/// "svg" and so on.
std::vector<std::string> pictureEndings();

/// In pixels; of a PDF a hundred of them are an inch.
struct PictureSize {
    int width = 0;
    int height = 0;
};

/// A text as gnuplot's string that shows it, whatever it holds: no part of it is taken for a command or for markup.
/// Control characters and what is not UTF-8 are shown as \xNN.
std::string gnuplotText(const std::string& text);

/// Draws what a script says into a file, which appears complete or not at all. Throws Failure.
/// Given  script  what follows the choice of the terminal; it neither knows nor names the file
void drawPicture(const std::string& path, PictureKind kind, PictureSize size, const std::string& script);

/// Draws it in a window on the desktop, which stays. Throws Failure.
void drawInWindow(const std::string& title, PictureSize size, const std::string& script);

} // namespace kor::tool
