#include "view_html_eye.h"
#include "views.h"

namespace {

constexpr size_t LONG_LIST = 12;  // longer ones are folded

constexpr const char* HEAD = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>kxreport</title>
<style>
:root { --ink: #1b1f24; --paper: #ffffff; --line: #d4d9df; --soft: #f3f5f7; --bad: #b3261e; --good: #1a7f37; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e4e7eb; --paper: #15181c; --line: #3a4149; --soft: #20252b; --bad: #ff8a80; --good: #6fd388; }
}
body { font: 15px/1.45 system-ui, sans-serif; color: var(--ink); background: var(--paper); margin: 2rem auto;
       max-width: 70rem; padding: 0 1rem; }
h1 { font-size: 1.5rem; } h2 { font-size: 1.2rem; margin-top: 2rem; } h3, summary { font-size: 1rem; font-weight: 600; }
section { border-left: 3px solid var(--line); padding-left: 1rem; margin: .8rem 0; }
table { border-collapse: collapse; margin: .5rem 0; display: block; overflow-x: auto; }
th, td { text-align: left; padding: .2rem .8rem .2rem 0; border-bottom: 1px solid var(--line); vertical-align: top; }
th { font-weight: 600; } td.number { text-align: right; font-variant-numeric: tabular-nums; }
td.word { font-family: ui-monospace, monospace; }
.no, .fault { color: var(--bad); font-weight: 600; } .yes { color: var(--good); }
figure { display: inline-block; margin: .5rem 1rem .5rem 0; } svg.eye { width: 20rem; max-width: 100%; }
.eye .closed { fill: var(--soft); stroke: var(--line); } .eye .open { fill: var(--good); fill-opacity: .35; stroke: var(--good); }
.eye .axis { stroke: var(--ink); stroke-width: .5; } figcaption { font-size: .85rem; }
details { margin: .5rem 0; } summary { cursor: pointer; background: var(--soft); padding: .3rem .6rem; }
footer { margin-top: 3rem; color: inherit; opacity: .75; font-size: .85rem; }
</style>
</head>
<body>
)";

std::string escaped(const std::string& text) {
  std::string good;
  for (const char c : text) {
    switch (c) {
      case '&':
        good += "&amp;";
        break;
      case '<':
        good += "&lt;";
        break;
      case '>':
        good += "&gt;";
        break;
      case '"':
        good += "&quot;";
        break;
      default:
        good += c;
    }
  }
  return good;
}

const char* class_of(const value& one) {
  switch (one.row().kind) {
    case value_kind::flag:
      return one.number != 0 ? "yes" : "no";
    case value_kind::gauge:
    case value_kind::real:
    case value_kind::counter:
      return "number";
    case value_kind::word:
      return "word";
    case value_kind::fault:
      return "fault";
    default:
      return "text";
  }
}

void cell_print(const value* one, FILE* out) {
  if (one == nullptr) {
    fputs("<td></td>", out);
  } else {
    fprintf(out, "<td class=\"%s\">%s</td>", class_of(*one), escaped(value_text(*one)).c_str());
  }
}

void value_print(const value& one, FILE* out);

bool is_flat(const value& group) {
  for (const value& child : group.children) {
    if (kind_has_children(child.row().kind)) {
      return false;
    }
  }
  return true;
}

// Groups without groups inside: one table, a row each.
void rows_print(const value& list, FILE* out) {
  std::vector<term> columns;
  fputs("<table><tr>", out);
  for (const term what : term_get(list.row().children[0]).children) {
    for (const value& row : list.children) {
      if (row.find(what) != nullptr) {
        columns.push_back(what);
        fprintf(out, "<th>%s</th>", escaped(name_text({what, 0, {}, {}})).c_str());
        break;
      }
    }
  }
  fputs("</tr>\n", out);
  for (const value& row : list.children) {
    fputs("<tr>", out);
    for (const term what : columns) {
      cell_print(row.find(what), out);
    }
    fputs("</tr>\n", out);
  }
  fputs("</table>\n", out);
}

void elements_print(const value& list, FILE* out) {
  bool flat = true;
  for (const value& one : list.children) {
    flat = flat && one.row().kind == value_kind::group && is_flat(one);
  }
  if (flat) {
    rows_print(list, out);
    for (size_t i = 0; list.what == term::eyes && i < list.children.size(); ++i) {
      eye_print(list.children[i], escaped(labels_text(list.children[i])), out);
    }
    return;
  }
  for (const value& one : list.children) {
    if (one.row().kind == value_kind::group) {
      fprintf(out, "<section><h3>%s</h3>\n", escaped(labels_text(one)).c_str());
      value_print(one, out);
      fputs("</section>\n", out);
    } else {
      fprintf(out, "<p class=\"%s\">%s</p>\n", class_of(one), escaped(value_text(one)).c_str());
    }
  }
}

void part_print(const value& part, FILE* out) {
  if (part.children.empty()) {
    return;
  }
  const std::string name = escaped(name_text(part));
  const bool folded = part.row().kind != value_kind::group && part.children.size() > LONG_LIST;
  fprintf(out, folded ? "<details><summary>%s (%zu)</summary>\n" : "<h3>%s</h3>\n", name.c_str(), part.children.size());
  part.row().kind == value_kind::group ? value_print(part, out) : elements_print(part, out);
  fputs(folded ? "</details>\n" : "", out);
}

// A group: its own values first, then what lies below it.
void value_print(const value& one, FILE* out) {
  bool table = false;
  for (const value& child : one.children) {
    if (kind_has_children(child.row().kind) || child.row().kind == value_kind::label) {
      continue;
    }
    fputs(table ? "" : "<table>\n", out);
    table = true;
    fprintf(out, "<tr><th>%s</th>", escaped(name_text(child)).c_str());
    cell_print(&child, out);
    fputs("</tr>\n", out);
  }
  fputs(table ? "</table>\n" : "", out);
  for (const value& child : one.children) {
    if (kind_has_children(child.row().kind)) {
      part_print(child, out);
    }
  }
}

void about_print(const value& root, FILE* out) {
  fputs("<footer>", out);
  for (const term what : {term::command, term::time}) {
    if (const value* one = root.find(what); one != nullptr) {
      fprintf(out, "%s: %s. ", escaped(name_text(*one)).c_str(), escaped(value_text(*one)).c_str());
    }
  }
  if (const value* program = root.find(term::program); program != nullptr) {
    for (const value& child : program->children) {
      fprintf(out, "%s ", escaped(value_text(child)).c_str());
    }
  }
  fputs("</footer>\n", out);
}

}  // namespace

void view_html(const value& root, FILE* out) {
  fputs(HEAD, out);
  fputs("<h1>Card report</h1>\n", out);
  for (const value& part : root.children) {
    const value_kind kind = part.row().kind;
    if ((kind != value_kind::list && kind != value_kind::table) || part.children.empty()) {
      continue;
    }
    fprintf(out, "<h2>%s</h2>\n", escaped(name_text(part)).c_str());
    elements_print(part, out);
  }
  about_print(root, out);
  fputs("</body>\n</html>\n", out);
}
