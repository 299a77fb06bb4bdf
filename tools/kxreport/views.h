// The forms in which a report is shown. Each goes through the tree by kind and unit alone. Bytes from outside never
// reach a reader as they are: what does not print is replaced or escaped. Write errors stay in the stream's error flag.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "value.h"

using view_fn = void (*)(const value& root, FILE* out);

void view_text(const value& root, FILE* out);
/// One JSON document; names end in their unit, 64-bit numbers have all their digits, words are texts in hexadecimal.
void view_json(const value& root, FILE* out);
/// What monitoring collects: flags, numbers, and texts as labels of "_info"; free words and registers are left out.
/// Read alike by parsers of OpenMetrics and of the older Prometheus form.
void view_openmetrics(const value& root, FILE* out);
/// One page without anything from outside.
void view_html(const value& root, FILE* out);

/// The view of a form's name, or null.
view_fn view_find(std::string_view name);
/// All names, "text|json|openmetrics|html".
inline constexpr const char* VIEW_NAMES = "text|json|openmetrics|html";

/// The value as a reader takes it in: "45 C", "16.0 GT/s", "0.5 mW", "yes"; a text with what does not print as '?'; of
/// bytes that are longer than any register the beginning.
std::string value_text(const value& one);
/// What a group is called by: its labels that are not empty.
std::string labels_text(const value& group);
/// "serial_number" as "serial number".
std::string name_text(const value& one);
/// The longest beginning of `text` that is UTF-8 is at its front; returns its length.
size_t utf8_prefix(std::string_view text);
