#include "trq/recoat.h"

void KVSWEEPS::ConvertAllValuesToMM() { BladeVelocity.ConvertAllValuesToMM(); }
void KVSWEEPS::ConvertAllValuesToINCH() { BladeVelocity.ConvertAllValuesToINCH(); }

void KVSWEEPS::EquatelAllDefaultsToCurrentValue() {
  BladeVelocity.EquateDefaultToCurrentValue();
  BladeGap.EquateDefaultToCurrentValue();
}

namespace {

using Sweeps = std::vector<KVSWEEPS>;

bool Holds(const Sweeps& list, int i) { return i >= 0 && size_t(i) < list.size(); }

/// The sweep is copied first: it may be an element of the list itself.
void Add(Sweeps& list, const KVSWEEPS& sweep) { list.push_back(KVSWEEPS(sweep)); }

KVSWEEPS Get(const Sweeps& list, int i) { return Holds(list, i) ? list[size_t(i)] : KVSWEEPS(); }

void Set(Sweeps& list, int i, const KVSWEEPS& sweep) {
  if (Holds(list, i)) list[size_t(i)] = sweep;
}

void RemoveAll(Sweeps& list) { Sweeps().swap(list); }

void RemoveAt(Sweeps& list, int i) {
  if (Holds(list, i)) list.erase(list.begin() + i);
}

}  // namespace

void KVRECOATSTYLE::AddToSweepList(const KVSWEEPS& sweep) { Add(SweepList, sweep); }
void KVRECOATSTYLE::AddToPrimarySweepList(const KVSWEEPS& sweep) { Add(PrimarySweepList, sweep); }
void KVRECOATSTYLE::AddToSecondarySweepList(const KVSWEEPS& sweep) { Add(SecondarySweepList, sweep); }

int KVRECOATSTYLE::GetSweepListSize() const { return int(SweepList.size()); }
int KVRECOATSTYLE::GetPrimarySweepListSize() const { return int(PrimarySweepList.size()); }
int KVRECOATSTYLE::GetSecondarySweepListSize() const { return int(SecondarySweepList.size()); }

KVSWEEPS KVRECOATSTYLE::GetSweepsRecord(int i) const { return Get(SweepList, i); }
KVSWEEPS KVRECOATSTYLE::GetPrimarySweepsRecord(int i) const { return Get(PrimarySweepList, i); }
KVSWEEPS KVRECOATSTYLE::GetSecondarySweepsRecord(int i) const { return Get(SecondarySweepList, i); }

void KVRECOATSTYLE::SetSweepsRecord(int i, const KVSWEEPS& sweep) { Set(SweepList, i, sweep); }
void KVRECOATSTYLE::SetPrimarySweepsRecord(int i, const KVSWEEPS& sweep) { Set(PrimarySweepList, i, sweep); }
void KVRECOATSTYLE::SetSecondarySweepsRecord(int i, const KVSWEEPS& sweep) {
  Set(SecondarySweepList, i, sweep);
}

void KVRECOATSTYLE::RemoveAllSweepsRecord() { RemoveAll(SweepList); }
void KVRECOATSTYLE::RemoveAllPrimarySweepsRecord() { RemoveAll(PrimarySweepList); }
void KVRECOATSTYLE::RemoveAllSecondarySweepsRecord() { RemoveAll(SecondarySweepList); }

void KVRECOATSTYLE::RemoveSweepListRecoadAt(int i) { RemoveAt(SweepList, i); }
void KVRECOATSTYLE::RemovePrimarySweepListRecoadAt(int i) { RemoveAt(PrimarySweepList, i); }
void KVRECOATSTYLE::RemoveSecondarySweepListRecoadAt(int i) { RemoveAt(SecondarySweepList, i); }
