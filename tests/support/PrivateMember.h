#pragma once

/// Opens one private member, a function or a variable, to a test. The language lets an explicit instantiation name
/// private members:
///
///     struct Hidden { using Type = void (Class::*)(int); friend Type privateMember(Hidden); };
///     template struct PrivateMember<Hidden, &Class::hidden>;
///     (object.*privateMember(Hidden()))(42);
template <class Tag, typename Tag::Type MEMBER>
struct PrivateMember
{
    friend typename Tag::Type privateMember(Tag) { return MEMBER; }
};
