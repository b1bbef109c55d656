#!/usr/bin/env bash
# Makes the example styles of examples/styles/ with the tool itself: make_styles.sh [TRQPREP [FOLDER]].
# Two build styles with values as a resin of 0.14 mm penetration depth takes them, in millimetres, and a recoat style
# with three sweeps, one primary and one secondary sweep. A test runs it and compares the bytes.
set -euo pipefail
tool=${1:-trqprep}
folder=${2:-$(dirname "$0")/styles}
mkdir -p "$folder"

# build NAME FILE MACHINE LAYER BORDER HATCH FILL SPACING: cure depths and spacing in millimetres
build() {
  local name=$1 file=$folder/$2 machine=$3 layer=$4 border=$5 hatch=$6 fill=$7 spacing=$8
  "$tool" style new --machine "$machine" --name "$name" -o "$file" --force
  "$tool" style set "$file" \
    "Layer Thickness=$layer" "End Z=600" "Dp=0.14" "Ec=10.8" \
    '*Border*Cure Depth='"$border" '*Support*Cure Depth='"$border" '*Hatch Cure Depth ?='"$hatch" \
    '*Fill Cure Depth ?='"$fill" '*Hatch Spacing ?='"$spacing" '*Fill Spacing*='"$spacing" '*FillSpacing ?='"$spacing" \
    '*NumHatches=2' 'Small Up Number of Hatches=2' '*NumFills=1' '*Hatch*Angle 2=90' '*Hatch*Angle 4=90' \
    'Small Line Width=0.25' 'Large Line Width=0.5' 'Boundary Comp=0.12' 'Min Width For Small Spot=1' \
    'Small*Retract*=0.02' 'Large*Retract*=0.04' '*Stagger Offset=0.1' 'Stagger=1' 'Alternate=1' 'ZCalculate=1' \
    'Layer Border Power=300' '*Hatch ? Power=800' '*Fill ? Power=900' 'Support*Power=400' \
    'DH Flag=1' 'UH Flag=1' 'Shelling Thickness=0.1' 'Min Small NS Width=0.3' 'Min Large NS Width=0.6'
}

build "Fine 0.05 mm" Fine.sty TRQ-E7 0.05 0.2 0.18 0.22 0.1
build "Standard 0.1 mm" Standard.sty Mirra 0.1 0.26 0.23 0.27 0.15

file=$folder/ThreeSweeps.rcs
"$tool" recoat new --machine TRQ-E7 --name "Three sweeps" --units mm --layer-thickness 0.05 -o "$file" --force
"$tool" recoat set "$file" 'End Z=600' '*Velocity=5' '*Acceleration=20' 'Z Dip Distance=8' '*ZDipDistance=12' \
  '*DipDelay=1' 'Z Wait=10' '*ZWait=15' 'Number Of Secondary=1'
"$tool" recoat sweeps "$file" --add gap=150,velocity=40 --add gap=120,velocity=60 --add gap=100,velocity=60
"$tool" recoat sweeps "$file" --list primary --add gap=200,velocity=30
"$tool" recoat sweeps "$file" --list secondary --add gap=110,velocity=50
