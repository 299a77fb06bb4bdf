#include <algorithm>

#include "views.h"

namespace {

constexpr int INDENT = 2;

using row_cells = std::vector<std::string>;

void value_print(const value& one, int depth, FILE* out);

bool is_column(const value& one) {
  const value_kind kind = one.row().kind;
  return !kind_has_children(kind) && kind != value_kind::flag && kind != value_kind::fault;
}

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) { return c >= 'a' && c <= 'z' ? c - 32 : c; });
  return text;
}

// Terms that some row has, in the order in which a row may hold them.
std::vector<term> columns_of(const value& table) {
  std::vector<term> columns;
  for (const term what : term_get(table.row().children[0]).children) {
    const bool shown = std::any_of(table.children.begin(), table.children.end(), [what](const value& row) {
      const value* cell = row.find(what);
      return cell != nullptr && is_column(*cell);
    });
    if (shown) {
      columns.push_back(what);
    }
  }
  return columns;
}

const value* fault_of(const value& row) {
  for (const value& child : row.children) {
    if (child.row().kind == value_kind::fault) {
      return &child;
    }
  }
  return nullptr;
}

// A row of which nothing but its labels is known says why in the place of its values.
row_cells cells_of(const value& row, const std::vector<term>& columns) {
  row_cells cells;
  const value* fault = fault_of(row);
  const bool only_labels = std::none_of(row.children.begin(), row.children.end(), [](const value& child) {
    return is_column(child) && child.row().kind != value_kind::label;
  });
  for (const term what : columns) {
    const value* cell = row.find(what);
    if (fault != nullptr && only_labels && term_get(what).kind != value_kind::label) {
      break;
    }
    const std::string text = cell == nullptr ? "" : value_text(*cell);
    cells.push_back(text.empty() ? "-" : text);
  }
  if (fault != nullptr) {
    cells.push_back(value_text(*fault));
  }
  return cells;
}

void table_print(const value& table, FILE* out) {
  const std::vector<term> columns = columns_of(table);
  std::vector<row_cells> rows(1);
  for (const term what : columns) {
    rows[0].push_back(upper(name_text({what, 0, {}, {}})));
  }
  for (const value& row : table.children) {
    rows.push_back(cells_of(row, columns));
  }
  std::vector<size_t> widths(columns.size());
  for (const row_cells& row : rows) {
    // The last cell of a line takes what room it needs.
    for (size_t i = 0; i + 1 < row.size() && i < widths.size(); ++i) {
      widths[i] = std::max(widths[i], row[i].size());
    }
  }
  for (const row_cells& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      const bool last = i + 1 == row.size();
      fprintf(out, "%-*s%s", last || i >= widths.size() ? 0 : static_cast<int>(widths[i]), row[i].c_str(),
              last ? "\n" : "  ");
    }
  }
}

// A group of labels and at most three short values stays on one line.
bool is_short(const value& group) {
  constexpr size_t SHORT = 4;
  return group.children.size() <= SHORT && std::none_of(group.children.begin(), group.children.end(), [](auto& child) {
           return kind_has_children(child.row().kind);
         });
}

void short_group_print(const value& group, int depth, FILE* out) {
  fprintf(out, "%*s%-36s", depth * INDENT, "", labels_text(group).c_str());
  for (const value& child : group.children) {
    const value_kind kind = child.row().kind;
    if (kind == value_kind::flag && child.number != 0) {
      continue;  // what is as it should be needs no word
    }
    if (kind == value_kind::flag) {
      fprintf(out, "  not %s", name_text(child).c_str());
    } else if (kind != value_kind::label) {
      fprintf(out, "  %s", value_text(child).c_str());
    }
  }
  putc('\n', out);
}

void element_print(const value& one, int depth, FILE* out) {
  if (one.row().kind != value_kind::group) {
    fprintf(out, "%*s%s\n", depth * INDENT, "", value_text(one).c_str());
  } else if (is_short(one)) {
    short_group_print(one, depth, out);
  } else {
    fprintf(out, "%*s%s\n", depth * INDENT, "", labels_text(one).c_str());
    for (const value& child : one.children) {
      if (child.row().kind != value_kind::label) {
        value_print(child, depth + 1, out);
      }
    }
  }
}

void value_print(const value& one, int depth, FILE* out) {
  const value_kind kind = one.row().kind;
  if (!kind_has_children(kind)) {
    fprintf(out, "%*s%-22s %s\n", depth * INDENT, "", name_text(one).c_str(), value_text(one).c_str());
    return;
  }
  if (kind == value_kind::table) {
    table_print(one, out);
    return;
  }
  if (one.children.empty()) {
    return;
  }
  fprintf(out, "%*s%s\n", depth * INDENT, "", name_text(one).c_str());
  for (const value& child : one.children) {
    kind == value_kind::group ? value_print(child, depth + 1, out) : element_print(child, depth + 1, out);
  }
}

}  // namespace

// What the document says of itself is for programs, and a reader has the lines of standard error before his eyes.
void view_text(const value& root, FILE* out) {
  for (const value& part : root.children) {
    if (part.row().kind == value_kind::table) {
      table_print(part, out);
    } else if (part.row().kind == value_kind::list && part.row().children[0] != term::error) {
      for (const value& one : part.children) {
        element_print(one, 0, out);
      }
    }
  }
}
