// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// The way to a private member of a class that knows nothing of it: access is not checked in an
// explicit instantiation.
template <typename Name>
struct PrivateMember
{
    friend constexpr auto member(Name name);
};

template <typename Name, auto pointer>
struct Reveal
{
    friend constexpr auto member(Name /*name*/) { return pointer; }
};

// After REVEAL(State, &PositionAdaptor::state); the member is adaptor.*member(State()).
#define REVEAL(name, pointer)                                                                      \
    struct name : PrivateMember<name>                                                              \
    {                                                                                              \
    };                                                                                             \
    template struct Reveal<name, pointer>
