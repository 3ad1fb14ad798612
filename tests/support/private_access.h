#pragma once

/// Reaches a private member of the engine for a test, without a switch in the engine's code: an explicit instantiation
/// may name private members. Write in a test's source, in namespace Drive::Testing itself, once a member:
///
///   struct CountOf { using Type = void (Engine::*)(const int&); friend Type Reach(CountOf); };
///   template struct PrivateMember<CountOf, &Engine::updateCount>;
///   ... (engine.*Reach(CountOf()))(-1);
namespace Drive::Testing {

template <class Tag, typename Tag::Type Member>
struct PrivateMember {
    friend typename Tag::Type Reach(Tag) { return Member; }
};

}  // namespace Drive::Testing
