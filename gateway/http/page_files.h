// SPDX-License-Identifier: Apache-2.0
/// @file page_files.h  The files of the page, as the build puts them into the program.
#ifndef TQGATEWAY_HTTP_PAGE_FILES_H
#define TQGATEWAY_HTTP_PAGE_FILES_H

#include <string_view>

namespace tqgateway {

struct PageFile {
    std::string_view path; ///< As it is asked for: "/app.js".
    std::string_view content;
};

/// The file at a path; null for none.
const PageFile *FindPageFile(std::string_view path);

} // namespace tqgateway

#endif
