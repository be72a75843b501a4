#ifndef HOST_RENDER_GROUPS_H
#define HOST_RENDER_GROUPS_H

#include <optional>
#include <string>
#include <vector>

#include "derive/groups.h"
#include "render/page.h"

namespace render {

/// A discriminant analysis for a page. In CSV all of it is one long table.
class GroupReport {
 public:
  /// `levels` are the names of all levels. The analysis and the names must outlive the report, and the report its
  /// tables.
  GroupReport(const derive::GroupAnalysis& analysis, const std::vector<std::string>& variables,
              const std::vector<std::string>& levels);

  std::vector<Table> Tables() const;
  /// The groups on the first two canonical functions; nothing where these are undefined, or the groups too many.
  std::optional<Picture> Draw(const Heading& heading) const;
  /// Why the groups cannot be drawn; empty when they can.
  std::string Undrawn() const;
  /// What is undefined, and because of which variable or group: a sentence each.
  std::vector<std::string> Notes() const;

 private:
  Table Groups() const;
  Table OfGroups(const char* name, const char* caption, std::vector<double> derive::Group::*values) const;
  Table Univariate() const;
  Table OfVariables(const char* name, const char* caption, const derive::Matrix& matrix) const;
  Table Tests(const std::vector<std::string>& names) const;
  Table Functions() const;
  Table Centroids() const;
  Table OfFunctions(const char* name, const char* caption, const derive::Matrix& matrix) const;
  Table Classification() const;
  Table ClassificationWithConstants() const;

  void NoteLostDigits(std::vector<std::string>& notes) const;
  void NoteSingularity(std::vector<std::string>& notes) const;
  void NoteBox(std::vector<std::string>& notes) const;
  std::string Named(const std::vector<std::size_t>& variables) const;

  const derive::GroupAnalysis& _analysis;
  const std::vector<std::string>& _variables;
  const std::vector<std::string>& _levels;
  std::vector<std::string> _groups;
  std::vector<std::string> _functions;
  std::vector<std::string> _constantAndVariables;
};

}  // namespace render

#endif
