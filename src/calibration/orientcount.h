/// @file
/// Visited part of the space of orientations.
#pragma once

/// Divides the space of three angles into 12 by 12 by 12 cells of 30 degrees and stores which were
/// visited. No lock; no allocations.
class OrientCount
{
public:
    OrientCount();
    virtual ~OrientCount();

    /// Marks the cell of the three angles, in degrees, also of many turns. With an infinite or huge
    /// angle (from some 1e9 on) the call does not return. NaN counts as 0.
    void addOrientation(float a, float b, float c);

    /// Visited part in percent, 0.0 to 100.0.
    float getPercNotZero();

private:
    friend struct OrientCountProbe; // the tests' access

    static constexpr int bins = 12;

    unsigned char cells[bins][bins][bins]; // [bin of a][bin of c][bin of b]; 1 visited, 0 not
};
