// The page's frame, its contents list and its sections. Script and style are constants, and so are
// their sums, by which a browser knows them: the build makes both from the files beside this one.
#include "tools/ks2/html_page.h"

#include "ks2/html_assets.h"
#include "tools/ks2/html_parts.h"

namespace kestrel::ks2 {

namespace {

constexpr size_t k_most_contents = 300;  // entries of one section

/// A browser asks for no file, sends nothing, and runs and applies only what has these sums.
std::string security_policy() {
  return std::string("default-src 'none'; script-src '") + k_html_script_sum + "'; style-src '" +
         k_html_style_sum +
         "'; base-uri 'none'; form-action 'none'; require-trusted-types-for 'script'; "
         "trusted-types 'none'";
}

/// What the window is called.
std::string_view computer_name(const page_source& source) {
  for (const identity_line& line : source.identity) {
    if (line.letter == 'C') return line.value;
  }
  return source.file_name;
}

void write_head(page& to) {
  html_writer& out = to.out;
  out.markup("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n");
  out.markup("<meta http-equiv=\"Content-Security-Policy\" content=\"");
  out.markup(security_policy());
  out.markup(
      "\">\n<meta name=\"referrer\" content=\"no-referrer\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>");
  out.text(computer_name(to.source));
  out.markup(" \xE2\x80\x93 Kestrel report</title>\n<style>");
  out.markup(k_html_style);
  out.markup("</style>\n<script>");
  out.markup(k_html_script);
  out.markup("</script>\n</head>\n");
}

void write_bar(html_writer& out) {
  out.markup(
      "<body>\n<a class=\"skip\" href=\"#report\">Skip to the report</a>\n"
      "<header id=\"bar\">\n"
      "<button type=\"button\" id=\"menu\" aria-expanded=\"false\" aria-controls=\"contents\">"
      "Contents</button>\n"
      "<a id=\"brand\" href=\"#top\">Kestrel</a>\n"
      "<label id=\"find\"><span class=\"unseen\">Search tables and files</span>"
      "<input type=\"search\" id=\"search\" placeholder=\"Search tables and files\" "
      "autocomplete=\"off\" spellcheck=\"false\"><kbd>/</kbd></label>\n"
      "<output id=\"found\" for=\"search\" aria-live=\"polite\"></output>\n"
      "<button type=\"button\" id=\"fold\">Fold all</button>\n"
      "<button type=\"button\" id=\"theme\">Dark</button>\n"
      "</header>\n<div id=\"page\">\n");
}

size_t row_count(const report_section& section) {
  size_t rows = 0;
  for (const report_table& table : section.tables) rows += table.rows.size();
  return rows;
}

void write_entries(page& to, size_t number) {
  const report_section& section = to.source.content.sections[number];
  html_writer& out = to.out;
  out.markup("<ul>");
  for (size_t i = 0; i < section.parts.size() && i < k_most_contents; ++i) {
    const section_part& part = section.parts[i];
    out.markup("<li><a href=\"#");
    write_part_id(out, number, part);
    out.markup("\">");
    write_title(out, title_of(section, part));
    if (!part.is_file) {
      out.markup("<span>");
      out.number(section.tables[part.index].rows.size());
      out.markup("</span>");
    } else if (section.files[part.index].content.data() != nullptr) {
      out.markup("<span>");
      write_count(out, line_count(section.files[part.index].content), "line", "lines");
      out.markup("</span>");
    }
    out.markup("</a></li>\n");
  }
  out.markup("</ul>");
}

/// "12", "2 files", "12 + 2 files".
void write_size(html_writer& out, const report_section& section) {
  out.markup("<span>");
  if (!section.tables.empty() || section.files.empty()) out.number(row_count(section));
  if (!section.tables.empty() && !section.files.empty()) out.markup(" + ");
  if (!section.files.empty()) write_count(out, section.files.size(), "file", "files");
  out.markup("</span>");
}

void write_contents(page& to) {
  html_writer& out = to.out;
  out.markup("<nav id=\"contents\" aria-label=\"Contents\">\n<ol>\n");
  for (size_t i = 0; i < to.source.content.sections.size(); ++i) {
    const report_section& section = to.source.content.sections[i];
    out.markup("<li><a href=\"#");
    write_section_id(out, i);
    out.markup("\">");
    write_title(out, section.title);
    write_size(out, section);
    out.markup("</a>");
    if (section.parts.size() > 1) write_entries(to, i);
    out.markup("</li>\n");
  }
  out.markup("</ol>\n</nav>\n");
}

void write_section_head(page& to, size_t number) {
  const report_section& section = to.source.content.sections[number];
  html_writer& out = to.out;
  out.markup("<section id=\"");
  write_section_id(out, number);
  out.markup("\">\n<details open class=\"fold\"><summary><h2>");
  write_title(out, section.title);
  out.markup("</h2><span class=\"count\">");
  if (!section.tables.empty()) write_count(out, row_count(section), "row", "rows");
  if (!section.tables.empty() && !section.files.empty()) out.markup(", ");
  if (!section.files.empty()) write_count(out, section.files.size(), "file", "files");
  out.markup("</span></summary>\n");
  write_marks(to, to.marks.at(number, -1, -1));
  if (section.import < 0) return;
  out.markup("<p class=\"note\">Imported from ");
  out.raw(to.source.content.imports[static_cast<size_t>(section.import)].path);
  out.markup("</p>\n");
}

void write_section(page& to, size_t number) {
  const report_section& section = to.source.content.sections[number];
  write_section_head(to, number);
  for (const section_part& part : section.parts) {
    if (part.is_file) {
      write_embedded_file(to, number, part.index);
    } else {
      write_table(to, number, part.index);
    }
  }
  if (section.parts.empty()) to.out.markup("<p class=\"note\">Nothing in this section.</p>\n");
  to.out.markup("</details>\n</section>\n");
}

void write_foot(html_writer& out) {
  out.markup(
      "<p id=\"nothing\" class=\"note\" hidden>Nothing matches.</p>\n"
      "<footer class=\"note\"><p class=\"keys\"><kbd>/</kbd> search <kbd>Enter</kbd> next match "
      "<kbd>Esc</kbd> clear "
      "<kbd>\xE2\x86\x90\xE2\x86\x91\xE2\x86\x93\xE2\x86\x92</kbd> move in a table "
      "<kbd>Enter</kbd> copy the cell</p></footer>\n"
      "</main>\n</div>\n<div id=\"said\" class=\"unseen\" role=\"status\"></div>\n"
      "</body>\n</html>\n");
}

}  // namespace

void write_page(const page_source& source, FILE* out) {
  page to(source, out);
  write_head(to);
  write_bar(to.out);
  write_contents(to);
  to.out.markup("<main id=\"report\" tabindex=\"-1\">\n");
  write_identity(to);
  write_faults(to);
  for (size_t i = 0; i < source.content.sections.size(); ++i) write_section(to, i);
  if (source.content.sections.empty()) {
    to.out.markup("<p class=\"note\">The report has no sections.</p>\n");
  }
  if (source.content.is_refused) {
    to.out.markup("<p class=\"mark\">The page is cut here: the report goes on.</p>\n");
  }
  write_foot(to.out);
}

}  // namespace kestrel::ks2
