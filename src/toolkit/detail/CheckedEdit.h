#pragma once

#include "toolkit/meshInvariants.h"
#include "toolkit/surfaceFault.h"

#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <string>
#include <utility>

namespace trimora {

/// Puts a fault into an outcome: its words into `refusal`, its place into `problemPoint` where the outcome has one.
template <typename Outcome>
void refuse(Outcome& outcome, SurfaceFault const& fault) {
    outcome.refusal = fault.text;
    if constexpr (requires { outcome.problemPoint; })
        outcome.problemPoint = fault.place;
    if constexpr (requires { outcome.isNonfinite; })
        outcome.isNonfinite = fault.isNonfinite;
}

/// Whether a mesh is none, with the outcome saying so: what every operation begins with.
template <typename Outcome>
bool isRefused(Outcome& outcome, koGeom::CompactMesh const& mesh) {
    SurfaceFault const fault = faultOfMesh(mesh);
    if (fault)
        refuse(outcome, fault);
    return static_cast<bool>(fault);
}

/// What an operation returns that was stopped: the other fields mean nothing then.
template <typename Outcome>
Outcome cancelledOutcome() {
    Outcome outcome;
    outcome.cancelled = true;
    return outcome;
}

/// Whether a run that is whole or nothing was stopped, by what its outcome says or by now, with the outcome saying that alone.
///
/// whole   null: an outcome without that, or a run that keeps what it has done
template <typename Outcome>
bool isCancelled(Outcome& outcome, [[maybe_unused]] koUtil::Progress const* whole) {
    if constexpr (requires { outcome.cancelled; }) {
        bool const isStopped = whole != nullptr && (outcome.cancelled || whole->cancelled());
        if (isStopped)
            outcome = cancelledOutcome<Outcome>();
        return isStopped;
    }
    return false;
}

/// What a broken invariant becomes: a refusal that asks to report it; but for coordinates that grew beyond floats, which is the mesh's doing.
///
/// largest   coordinate that the operation was given
TRIMORA_API SurfaceFault asRefusal(SurfaceFault const& broken, double largest);

/// An edit in a copy, which takes the mesh's place when the invariants hold. Until then the mesh is as it was: when the edit
/// refuses, fails for memory or breaks an invariant nothing has to be put back, and however many notices the steps of an edit send, the
/// mesh sends one, or none when nothing changed.
class TRIMORA_API CheckedEdit {
public:
    /// mesh   sound, see faultOfMesh; has to live as long as this
    explicit CheckedEdit(koGeom::CompactMesh& mesh);

    koGeom::CompactMesh& work() { return work_; }
    MeshState const& before() const { return before_; }

    /// Checks the copy and puts it in place; or says what is broken, the mesh as it was.
    SurfaceFault conclude(Expectation expected);

private:
    koGeom::CompactMesh& mesh_;
    MeshState const before_;
    koGeom::CompactMesh work_;
    NoticeRecorder recorder_;  // of the copy
};

/// Runs an edit of a mesh with everything around it: the mesh is looked at first, the invariants after it.
///
/// edit      of the copy that it is given; returns its outcome. Refused (refusal not empty) or not, the mesh takes over what
///           the copy has become only if there is no refusal
/// predict   from the mesh's state before and the outcome: what has to hold of the result
/// whole     of an edit that is whole or nothing: asked before the mesh is copied and before the copy takes its place; cancelled,
///           here or in the edit, the mesh is as it was. Null: what a cancelled edit has done by then is taken over
template <typename Edit, typename Predict>
auto editChecked(koGeom::CompactMesh& mesh, Edit const& edit, Predict const& predict,
                 koUtil::Progress const* whole = nullptr) -> decltype(edit(mesh)) {
    using Outcome = decltype(edit(mesh));
    Outcome outcome;  // the one that is returned: to copy it later could fail for memory
    if (isRefused(outcome, mesh) || isCancelled(outcome, whole))
        return outcome;
    CheckedEdit checked(mesh);
    outcome = edit(checked.work());
    if (!outcome.refusal.empty() || isCancelled(outcome, whole))
        return outcome;
    SurfaceFault const fault = checked.conclude(predict(checked.before(), std::as_const(outcome)));
    if (fault) {
        outcome = Outcome();
        refuse(outcome, fault);
    }
    return outcome;
}

/// Checks a mesh that an operation made from others.
///
/// source   what it was made from, or MeshState(): NaN and infinite coordinates that were there may be there
TRIMORA_API SurfaceFault faultOfMade(MeshState const& source, koGeom::CompactMesh const& made,
                                     Expectation const& expected);

}  // namespace trimora
