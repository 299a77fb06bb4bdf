#include <map>

#include "views.h"

namespace {

constexpr const char* PREFIX = "kx";

struct family {
  const char* help;
  const char* unit;
  bool counter;
  std::string samples;
};

/// Samples of one name stand together in the output, wherever they stand in the tree.
class metrics {
 public:
  void walk(const value& one, const std::string& path, const std::string& labels);
  void print(FILE* out) const;

 private:
  void group_walk(const value& group, const std::string& path, std::string labels);
  void sample_add(const value& one, const std::string& path, const std::string& labels);
  void add(const std::string& name, const family& what, const std::string& labels, const std::string& number);

  std::vector<std::string> order_;
  std::map<std::string, family> families_;
};

std::string escaped(std::string_view text) {
  std::string good;
  for (const char c : text) {
    if (c == '\n') {
      good += "\\n";
      continue;
    }
    good += c == '"' || c == '\\' ? "\\" : "";
    good += c;
  }
  return good;
}

std::string label_text(const value& one) {
  return std::string(one.row().name) + "=\"" + escaped(value_text(one)) + '"';
}

void label_add(std::string* labels, const value& one) {
  *labels += labels->empty() ? "" : ",";
  *labels += label_text(one);
}

std::string number_text(const value& one) {
  char text[40];
  switch (one.row().kind) {
    case value_kind::real:
      snprintf(text, sizeof text, "%.17g", one.real());
      return text;
    case value_kind::gauge:
      return std::to_string(one.gauge());
    default:
      return std::to_string(one.number);
  }
}

void metrics::add(const std::string& name, const family& what, const std::string& labels, const std::string& number) {
  const auto [place, is_new] = families_.try_emplace(name, what);
  if (is_new) {
    order_.push_back(name);
  }
  place->second.samples += name + (labels.empty() ? "" : "{" + labels + "}") + ' ' + number + '\n';
}

void metrics::sample_add(const value& one, const std::string& path, const std::string& labels) {
  const term_row& row = one.row();
  std::string name = path;
  if (std::string_view(row.name) != "value") {  // the value of a group is the group's own
    name += std::string("_") + row.name;
  }
  const char* unit = unit_name(row.unit);
  name += *unit == '\0' ? "" : std::string("_") + unit;
  name += row.kind == value_kind::counter ? "_total" : "";
  add(name, {row.help, unit, row.kind == value_kind::counter, {}}, labels, number_text(one));
}

// Texts change seldom: they are labels of a metric that is always 1.
void metrics::group_walk(const value& group, const std::string& path, std::string labels) {
  std::string info;
  for (const value& child : group.children) {
    if (child.row().kind == value_kind::label) {
      label_add(&labels, child);
    } else if (child.row().kind == value_kind::text) {
      label_add(&info, child);
    }
  }
  if (!info.empty()) {
    const std::string all = labels + (labels.empty() ? "" : ",") + info;
    add(path + "_info", {group.row().help, "", false, {}}, all, "1");
  }
  for (const value& child : group.children) {
    walk(child, path, labels);
  }
}

void metrics::walk(const value& one, const std::string& path, const std::string& labels) {
  switch (one.row().kind) {
    case value_kind::group:
      return group_walk(one, path + '_' + one.row().name, labels);
    case value_kind::list:
    case value_kind::table:
      for (const value& child : one.children) {
        walk(child, path, labels);
      }
      return;
    case value_kind::flag:
    case value_kind::gauge:
    case value_kind::real:
    case value_kind::counter:
      return sample_add(one, path, labels);
    case value_kind::label:
    case value_kind::text:
    case value_kind::line:
    case value_kind::fault:
    case value_kind::word:
      return;
  }
}

// The two forms have different names for the type of a counter: without one both take it, and it counts all the same.
void metrics::print(FILE* out) const {
  for (const std::string& name : order_) {
    const family& one = families_.at(name);
    if (!one.counter) {
      fprintf(out, "# TYPE %s gauge\n", name.c_str());
      if (*one.unit != '\0') {
        fprintf(out, "# UNIT %s %s\n", name.c_str(), one.unit);
      }
    }
    fprintf(out, "# HELP %s %s\n%s", name.c_str(), one.help, one.samples.c_str());
  }
  fputs("# EOF\n", out);
}

}  // namespace

void view_openmetrics(const value& root, FILE* out) {
  metrics all;
  for (const value& part : root.children) {
    all.walk(part, PREFIX, "");
  }
  all.print(out);
}
