// Polygons that the drawing library fills and outlines.
#pragma once

#include <vector>

/// A polygon: a list of points in the drawing library's local coordinates. Callers
/// close a polygon by adding its first point again. GUI thread.
class XRegn {
  public:
    XRegn() = default;
    virtual ~XRegn() = default;

    /// Appends a vertex.
    void AddPoint(int x, int y);
    /// Removes every vertex.
    void Reset() { m_x.clear(), m_y.clear(); }
    /// Number of vertices.
    int GetCount() const { return static_cast<int>(m_x.size()); }
    /// Vertex `i` (0 when `i` is out of range).
    int GetX(int i) const { return i >= 0 && i < GetCount() ? m_x[i] : 0; }
    int GetY(int i) const { return i >= 0 && i < GetCount() ? m_y[i] : 0; }

  private:
    std::vector<int> m_x;
    std::vector<int> m_y;
};
