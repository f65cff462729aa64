// The engine's communication object. The plug-in only stores it and hands it on.
#pragma once

class VorCom {
  public:
    VorCom() = default;
};
