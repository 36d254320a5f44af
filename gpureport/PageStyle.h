#pragma once

namespace gpureport {

/// The style sheet, Page.css.
extern const char kPageStyle[];

}  // namespace gpureport
