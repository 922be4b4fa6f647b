#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Area, volume, moments and centroid of a list of meshes taken together, by closed formulas over
/// their triangles. Volume and moments are those of the solid inside (density 1), by the divergence
/// theorem: right for closed surfaces that are wound alike, counter-clockwise seen from outside;
/// turned the other way they are negative. Of an open surface they mean nothing definite.
///
/// meshes      shared, not copied; null ones count as empty
/// accuracy    sums of coordinates, and for the first moments sums of their products, are made in
///             floats: about 1e-6 of the result near the origin. Far from it volume and moments are
///             differences of large terms: 1e-4 is what to expect at ten times the size of the mesh
/// cost        one pass over the triangles; on the calling thread but for the area and the
///             boxes of the volume
/// source      the divergence theorem, as in Mirtich 1996 [mirtich1996]
class TRIMORA_API MeshMassCalculator {
public:
    enum Axis { X = 0, Y = 1, Z = 2 };

    explicit MeshMassCalculator(ko::list<ko::Reference<CompactMesh>>& meshes);
    MeshMassCalculator(MeshMassCalculator const& other);
    MeshMassCalculator& operator=(MeshMassCalculator const& other);
    ~MeshMassCalculator();

    /// Sum of the surface areas; on the shared pool, see meshArea.
    double calculateArea();
    /// The enclosed volume. Of an open surface it is taken to the plane through the middle, in x,
    /// of the last mesh's box, and so depends on the order of the list.
    double calculateVolume();
    /// Integrals of x, y and z over the solid; divided by the volume they are its centre of mass.
    ///
    /// axis   along which the integrals are made: of a closed surface all three give the same
    void calculateFirstMom(double& x, double& y, double& z, Axis axis);
    /// Integrals of x^2, y^2 and z^2 over the solid, likewise.
    void calculateSecondMom(double& x, double& y, double& z, Axis axis);
    /// The mean over the meshes of the centroids of their surfaces by area. Each mesh counts the
    /// same, whatever its size. NaN for an empty list, and as soon as one mesh has no area.
    void calculateCentroid(double& x, double& y, double& z);

private:
    // What one triangle adds. The moments add to x, y and z.
    double triangleCentroid(MeshTriangle const* triangle, MeshVertex const* vertices, double& x,
                            double& y, double& z) const;
    double integrate(MeshTriangle const* triangle, MeshVertex const* vertices, double xRef) const;
    void firstMomentTriX(MeshTriangle const* triangle, MeshVertex const* vertices, double& x,
                         double& y, double& z) const;
    void firstMomentTriY(MeshTriangle const* triangle, MeshVertex const* vertices, double& x,
                         double& y, double& z) const;
    void firstMomentTriZ(MeshTriangle const* triangle, MeshVertex const* vertices, double& x,
                         double& y, double& z) const;
    void secondMomentTriX(MeshTriangle const* triangle, MeshVertex const* vertices, double& x,
                          double& y, double& z) const;
    void secondMomentTriY(MeshTriangle const* triangle, MeshVertex const* vertices, double& x,
                          double& y, double& z) const;
    void secondMomentTriZ(MeshTriangle const* triangle, MeshVertex const* vertices, double& x,
                          double& y, double& z) const;
    /// Adds the centroid of each mesh's surface.
    void meshCentroid(double& x, double& y, double& z) const;

    template <class Visit>
    void forEachTriangle(Visit const& visit) const;

    ko::list<ko::Reference<CompactMesh>> meshes_;
};

}  // namespace koGeom
