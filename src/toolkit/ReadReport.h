#pragma once

#include "trimora/export.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace trimora {

/// What a reader met in a file: everything that the mesh cannot tell, and everything that did not get into it.
struct ReadReport {
    /// One thing that is wrong at one place: a line of a text file, from 1, or a byte of a binary one, from 0.
    struct Problem {
        std::int64_t line = 0;
        std::string text;
        std::int64_t byte = -1;  ///< -1 in text files
    };

    /// Faces that did not get into the mesh. A face is counted once, under the first reason that it meets.
    struct DroppedFaces {
        std::int64_t tooFewCorners = 0;
        std::int64_t notANumber = 0;  ///< a corner is no index
        std::int64_t outOfRange = 0;  ///< a corner names no vertex of the file
        std::int64_t nonfinite =
            0;  ///< a corner is NaN or infinite, and ReadOptions::dropNonfinite was set
        std::int64_t total() const { return tooFewCorners + notANumber + outOfRange + nonfinite; }
    };

    /// Texture coordinates or normals. A mesh holds one for each vertex; a file may hold one for each corner.
    struct Attribute {
        std::int64_t lines = 0;     ///< how many the file lists
        bool kept = false;          ///< they were one a vertex and are in the mesh
        std::int64_t seams = 0;     ///< vertices at which corners disagree
        std::int64_t missing = 0;   ///< vertices of faces for which none is given
        std::int64_t badIndex = 0;  ///< corners that name one which the file does not list
    };

    /// Elements of one kind that a file should hold and does not, since it ends before.
    struct CutShort {
        std::string elements;         ///< "triangles", say; in the words of the format
        std::int64_t whole = 0;       ///< of them in the file
        std::int64_t announced = -1;  ///< by its head; -1: the file ends within the next one
        std::int64_t badCountAt =
            -1;  ///< byte of the count of a list that is none: it does not end, but what follows makes no sense
    };

    static constexpr std::size_t maxProblems = 20;

    std::string format;  ///< name of the format, say "obj"
    std::string
        variant;  ///< of it: "text", "little endian", "big endian"; empty where there is but one
    std::string name;        ///< that the file gives its solid or its mesh
    std::int64_t bytes = 0;  ///< of the file; 0 where there is none
    std::int64_t lines = 0;
    std::int64_t vertices = 0;
    std::int64_t faces = 0;      ///< faces in the file, dropped ones included
    std::int64_t polygons = 0;   ///< faces kept that have more than three corners
    std::int64_t triangles = 0;  ///< triangles in the mesh
    DroppedFaces dropped;
    Attribute textureCoordinates;
    Attribute normals;
    Attribute colours;
    std::vector<std::string> keptSets;  ///< names of the further vertex sets that are in the mesh
    std::vector<std::string> ignoredProperties;  ///< of the file, that have no place in the mesh

    std::vector<std::string> notes;  ///< on the file as a whole, a line for a person each

    std::vector<CutShort> cutShort;  ///< in the order of the file; empty where nothing is missing
    /// "1983 of 3968 triangles", or "12 of more than 12 facets"; a comma between several.
    TRIMORA_API std::string cutShortInWords() const;
    /// Byte of the count that is none, behind which nothing could be made out; -1 where there is none, or the file ends before.
    TRIMORA_API std::int64_t badCountAt() const;

    /// Why the file may hold another surface than was read, though nothing is known to be missing: each goes on from its name,
    /// "ends without endsolid".
    std::vector<std::string> doubts;

    /// What was taken off every coordinate, since a float holds too few digits of such numbers; whole numbers, 0 where the
    /// mesh stands as the file has it. WriteOptions::shift puts it back.
    std::array<double, 3> shift = {0.0, 0.0, 0.0};
    bool isShifted() const { return shift[0] != 0.0 || shift[1] != 0.0 || shift[2] != 0.0; }

    /// Of a format whose triangles have corners of their own, welded: the vertex of each corner of the file's triangles, three a
    /// triangle. Empty when nothing was welded.
    std::vector<int> weldedVertex;

    std::int64_t nonfiniteVertices =
        0;  ///< vertices with a coordinate that is NaN or infinite, kept
    std::int64_t incompleteVertices =
        0;  ///< vertices with a coordinate that is absent (now 0) or no number (now NaN)
    std::int64_t verticesWithMore =
        0;  ///< vertices with values behind the third, weights or colours: not kept
    std::int64_t otherElements = 0;  ///< points, lines, curves and surfaces: not kept
    std::int64_t unknownLines = 0;   ///< lines whose first word means nothing in the format

    /// The face of each triangle, counted from 0 over the faces kept, in the order of the file. Empty while every face
    /// is a triangle: triangle t is face t then.
    std::vector<int> trianglePolygon;

    std::int64_t numProblems = 0;  ///< how many there were
    std::vector<Problem>
        problems;  ///< the first of them, maxProblems at most, in the order of the file
};

}  // namespace trimora
