// Reaches a private data member, for a state that no sequence of public calls brings about at will.
#ifndef TESTS_UNIT_SUPPORT_PRIVATE_MEMBER_HPP
#define TESTS_UNIT_SUPPORT_PRIVATE_MEMBER_HPP

namespace agent::spf::frameworksetup::test {

// An explicit instantiation may name a private member. It defines memberOf(Tag), which returns the pointer to
// the member and which the tag, in this namespace too, declares as a friend:
//
//   struct Count {
//       using Type = int Counter::*;
//       friend Type memberOf(Count);
//   };
//   template struct PrivateMember<Count, &Counter::count>;
template <typename Tag, typename Tag::Type member>
struct PrivateMember {
    friend typename Tag::Type memberOf(Tag) { return member; }
};

} // namespace agent::spf::frameworksetup::test

#endif
