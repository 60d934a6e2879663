#ifndef VIEWER_PAGEASSETS_H
#define VIEWER_PAGEASSETS_H

#include <cstddef>
#include <string_view>

namespace viewer {

/**
 * The page's template, style and script (viewer/page.html, page.css and page.js), compiled into the program.
 *
 * The template holds the markers that PageWriter replaces, each alone on its line.
 */
class PageAssets {
public:
    static std::string_view pageTemplate();
    static std::string_view style();
    static std::string_view script();
};

} // namespace viewer

#endif
