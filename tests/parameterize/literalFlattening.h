#pragma once

#include "literalSolver.h"
#include "support/oracles.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/parameterize/cutSurface.h"
#include "trimora/planar/triangulatePolygon.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <vector>

namespace literal {

using namespace koGeom;

/// The flattening in its plainest form, of what can be flattened.
struct Flattening {
    std::vector<float> uvs;
    int code = 0, iterations = 0;
    bool isMMatrix = false;
    int plane = 0;  ///< 0 from the border's normal, 1 without one, 2 with one along the chord

    explicit Flattening(CompactMesh const& original) : mesh(original) {
        prepare();
        pin();
        lay();
        closeHoles();
        setUp();
        solve();
    }

    int numVertices() const { return mesh.getNumVertices(); }
    MeshVertex const* positions() const { return mesh.getVertices(); }

    void prepare() {
        mesh.deleteUVs();
        mesh.deleteNormals();
        koUtil::Progress progress;
        meshCompact(mesh, progress, remap);
        int const numLoops = cache.getBoundaries(mesh)->size();
        if (numLoops == 0 || support::eulerNumber(mesh) + numLoops < 2)
            cutSurface().makeDisk(mesh);
        ko::Reference<MeshBoundaries> const table = cache.getBoundaries(mesh);
        for (int i = 0; i < table->size(); ++i)
            loops.emplace_back(table->getStart(i), table->getEnd(i));
    }

    void pin() {
        double largest = 0.0;
        for (Place i = 0; i < loops.size(); ++i) {
            std::array<int, 3> lows, highs;
            std::array<double, 3> extents;
            for (Place axis = 0; axis < 3; ++axis) {
                auto const on = [&](int v) {
                    return static_cast<double>(mesh.getVerticesRaw()[at(3 * v) + axis]);
                };
                auto const [first, last] = std::pair(loops[i].begin(), loops[i].end());
                lows[axis] =
                    *std::min_element(first, last, [&](int v, int w) { return on(v) < on(w); });
                highs[axis] =
                    *std::min_element(first, last, [&](int v, int w) { return on(v) > on(w); });
                extents[axis] = std::abs(on(lows[axis]) - on(highs[axis]));
            }
            auto const [x, y, z] = extents;
            Place const axis = x >= y && x >= z ? 0 : y >= x && y >= z ? 1 : 2;
            if (extents[axis] > largest) {
                largest = extents[axis], outer = i;
                low = lows[axis], high = highs[axis];
            }
        }
    }

    void lay() {
        auto const& rim = loops[outer];
        Vector const chord = positions()[low].asPoint() - positions()[high].asPoint();
        Vector sum;
        for (Place i = 0; i < rim.size(); ++i) {
            Point const before = positions()[rim[(i + rim.size() - 1) % rim.size()]].asPoint();
            Point const start = positions()[rim[i]].asPoint();
            Point const end = positions()[rim[(i + 1) % rim.size()]].asPoint();
            sum += cross(end - start, start - before);
        }
        Normal normal(sum);
        if (!normal.valid) {
            normal = Normal::zAxis;
            plane = 1;
        } else if (isParallel(Normal(chord), normal, parallelTol)) {
            normal = chord.orthogonalVector();
            plane = 2;
        } else {
            Vector const along = Normal(chord);
            normal = Vector(normal) - dot(Vector(normal), along) * along;
        }
        AffineMatrix matrix(1.0);
        matrix.rotate(normal, Normal::zAxis);
        for (int v = 0; v < numVertices(); ++v) {
            points.push_back(positions()[v].asPoint() * matrix);
            freeIndices.push_back(v == low || v == high ? -1 : numFree++);
        }
    }

    void closeHoles() {
        for (Place i = 0; i < loops.size(); ++i) {
            ko::vector<Point> polygon;
            for (int const v : loops[i])
                polygon.push_back(positions()[v].asPoint());
            ko::vector<int> corners;
            if (i != outer)
                triangulatePolygon(polygon, corners, nullptr, nullptr);
            for (Place k = 0; k < corners.size(); k += 3)
                holes.push_back({{loops[i][at(corners[k + 2])], loops[i][at(corners[k + 1])],
                                  loops[i][at(corners[k])]}});
        }
    }

    void addTriangle(int i, int j, int k) {
        Point const pi = points[at(i)], pj = points[at(j)], pk = points[at(k)];
        double const atK = cross(pi - pk, pj - pk).length(), atJ = cross(pi - pj, pk - pj).length();
        if (atK < 1e-12 || atJ < 1e-12)
            return;
        double const cotK = dot(pi - pk, pj - pk) / atK, cotJ = dot(pi - pj, pk - pj) / atJ;
        int const r = 2 * freeIndices[at(i)], s = r + 1;
        system.addToElement(r, r, cotK + cotJ);
        system.addToElement(s, s, cotK + cotJ);
        for (auto const& [other, p, cot, turn] : {std::tuple(freeIndices[at(j)], pj, cotK, -1.0),
                                                  {freeIndices[at(k)], pk, cotJ, 1.0}}) {
            if (other >= 0 && !(std::abs(cot) < 1e-12)) {
                system.addToElement(r, 2 * other, -cot);
                system.addToElement(s, 2 * other + 1, -cot);
            }
            if (other >= 0) {
                system.addToElement(r, 2 * other + 1, turn);
                system.addToElement(s, 2 * other, -turn);
            } else {
                b[at(r)] += cot * p.x - turn * p.y;
                b[at(s)] += cot * p.y + turn * p.x;
            }
        }
    }

    void setUp() {
        system.setToZero(2 * numFree);
        b.resize(at(2 * numFree));
        guess = b;
        for (int v = 0; v < numVertices(); ++v) {
            int const r = 2 * freeIndices[at(v)];
            if (r < 0)
                continue;
            auto const addAround = [&](MeshTriangle const& t) {
                for (int corner = 0; corner < 3; ++corner)
                    if (t[corner] == v)
                        addTriangle(v, t[(corner + 1) % 3], t[(corner + 2) % 3]);
            };
            ko::Reference<MeshAdjTris> const fans = cache.getAdjTris(mesh);
            for (int i = 0; i < fans->numTris(v); ++i)
                addAround(mesh.getTriangles()[fans->triIndices(v)[i]]);
            std::for_each(holes.begin(), holes.end(), addAround);
            guess[at(r)] = points[at(v)].x;
            guess[at(r + 1)] = points[at(v)].y;
            for (int const row : {r, r + 1})
                if (system.row(row).empty()) {
                    system.addToElement(row, row, 1.0);
                    b[at(row)] = guess[at(row)];
                }
        }
    }

    /// Scaled into the unit square.
    void solve() {
        isMMatrix = system.isMMatrix();
        ConjugateGradient solver(rowsOf(system), isMMatrix ? Kind::cholesky : Kind::diagonal);
        solver.initialize(b, guess);
        for (int i = 0; i < 2 * numFree && code == 0; ++i)
            code = solver.iterate(1e-12, 1e-12);
        iterations = solver.iteration;
        Values u, v;
        for (int i = 0; i < numVertices(); ++i) {
            int const r = 2 * freeIndices[at(i)];
            u.push_back(r < 0 ? points[at(i)].x : solver.x[at(r)]);
            v.push_back(r < 0 ? points[at(i)].y : solver.x[at(r + 1)]);
        }
        auto const [minU, maxU] = std::minmax_element(u.begin(), u.end());
        auto const [minV, maxV] = std::minmax_element(v.begin(), v.end());
        double const scale = std::min(1.0 / (*maxU - *minU), 1.0 / (*maxV - *minV));
        for (int i = 0; i < remap.getDomainSize(); ++i) {
            uvs.push_back(static_cast<float>((u[at(remap(i))] - *minU) * scale));
            uvs.push_back(static_cast<float>((v[at(remap(i))] - *minV) * scale));
        }
    }

    CompactMesh mesh;
    Remap remap;
    SimpleMeshCache cache;
    std::vector<std::vector<int>> loops;
    Place outer = 0;
    int low = -1, high = -1;  // the pins
    std::vector<Point> points;
    std::vector<int> freeIndices;
    int numFree = 0;
    std::vector<MeshTriangle> holes;
    SparseMatrix system{0};
    Values b, guess;
};

}  // namespace literal
