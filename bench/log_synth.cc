#include "log_synth.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace tabrun_bench {
namespace {

constexpr std::size_t kChunkBytes = 1 << 20;

std::uint64_t SplitMix64(std::uint64_t& x) {
  std::uint64_t z = (x += 0x9e3779b97f4a7c15ULL);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
  return z ^ (z >> 31);
}

std::uint64_t Rotl(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }

// printf into a std::string, for the few lines with fixed structure.
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* format, ...) {
  char buf[512];
  va_list args;
  va_start(args, format);
  int n = std::vsnprintf(buf, sizeof buf, format, args);
  va_end(args);
  return std::string(buf, static_cast<std::size_t>(std::clamp(n, 0, int{sizeof buf} - 1)));
}

// One line pattern: literal text with printf-like numeric fields
// (%W.Pf, %W.PE in the engine's 0.12345E-02 style, %Wd, %% for '%').
// Every field is filled with a fresh random number of a magnitude that fits
// its width, so rendered lines have the template's layout.
class LineTemplate {
 public:
  explicit LineTemplate(std::string_view format);

  const std::string& format() const { return format_; }
  void Render(Rng& rng, std::string& out) const;

 private:
  struct Piece {
    std::string literal;
    char conversion = 0;  // 0 for a literal-only piece.
    int width = 0;
    int precision = 0;
  };

  static void RenderFixed(const Piece& p, Rng& rng, std::string& out);
  static void RenderExponent(const Piece& p, Rng& rng, std::string& out);
  static void RenderInteger(const Piece& p, Rng& rng, std::string& out);

  std::string format_;
  std::vector<Piece> pieces_;
};

LineTemplate::LineTemplate(std::string_view format) : format_(format) {
  Piece piece;
  for (std::size_t i = 0; i < format.size(); ++i) {
    char c = format[i];
    if (c != '%') {
      piece.literal += c;
      continue;
    }
    if (i + 1 < format.size() && format[i + 1] == '%') {
      piece.literal += '%';
      ++i;
      continue;
    }
    std::size_t j = i + 1;
    int width = 0;
    int precision = 0;
    while (j < format.size() && format[j] >= '0' && format[j] <= '9') {
      width = width * 10 + (format[j++] - '0');
    }
    if (j < format.size() && format[j] == '.') {
      ++j;
      while (j < format.size() && format[j] >= '0' && format[j] <= '9') {
        precision = precision * 10 + (format[j++] - '0');
      }
    }
    if (j >= format.size() || std::string_view("fEd").find(format[j]) == std::string_view::npos) {
      std::fprintf(stderr, "log_synth: bad field in template '%.*s'\n",
                   static_cast<int>(format.size()), format.data());
      std::abort();
    }
    piece.conversion = format[j];
    piece.width = width;
    piece.precision = precision;
    pieces_.push_back(std::move(piece));
    piece = Piece();
    i = j;
  }
  if (!piece.literal.empty()) pieces_.push_back(std::move(piece));
}

void PadLeft(std::string& out, const char* text, std::size_t n, int width) {
  if (static_cast<int>(n) < width) out.append(static_cast<std::size_t>(width) - n, ' ');
  out.append(text, n);
}

void LineTemplate::RenderFixed(const Piece& p, Rng& rng, std::string& out) {
  int room = std::clamp(p.width - p.precision - 2, 1, 5);
  double value = rng.Unit();
  for (int e = static_cast<int>(rng.Below(static_cast<std::uint64_t>(room) + 1)); e > 0; --e) {
    value *= 10.0;
  }
  if (p.width - p.precision - 2 >= 2 && rng.Chance(0.2)) value = -value;
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, p.precision);
  PadLeft(out, buf, static_cast<std::size_t>(r.ptr - buf), p.width);
}

void LineTemplate::RenderExponent(const Piece& p, Rng& rng, std::string& out) {
  char buf[64];
  std::size_t n = 0;
  if (rng.Chance(0.2)) buf[n++] = '-';
  buf[n++] = '0';
  buf[n++] = '.';
  int digits = std::clamp(p.precision, 1, 20);
  for (int d = 0; d < digits; ++d) {
    buf[n++] = static_cast<char>('0' + (d == 0 ? 1 + rng.Below(9) : rng.Below(10)));
  }
  buf[n++] = 'E';
  buf[n++] = rng.Chance(0.6) ? '-' : '+';
  buf[n++] = '0';
  buf[n++] = static_cast<char>('0' + rng.Below(6));
  PadLeft(out, buf, n, p.width);
}

void LineTemplate::RenderInteger(const Piece& p, Rng& rng, std::string& out) {
  int max_digits = std::clamp(p.width - 1, 1, 6);
  std::uint64_t limit = 1;
  for (int d = rng.Between(1, max_digits); d > 0; --d) limit *= 10;
  char buf[32];
  auto r = std::to_chars(buf, buf + sizeof buf, rng.Below(limit));
  PadLeft(out, buf, static_cast<std::size_t>(r.ptr - buf), p.width);
}

void LineTemplate::Render(Rng& rng, std::string& out) const {
  for (const Piece& p : pieces_) {
    out += p.literal;
    switch (p.conversion) {
      case 'f':
        RenderFixed(p, rng, out);
        break;
      case 'E':
        RenderExponent(p, rng, out);
        break;
      case 'd':
        RenderInteger(p, rng, out);
        break;
      default:
        break;
    }
  }
  out += '\n';
}

// ---------------------------------------------------------------------------
// Template sets.

constexpr std::array<const char*, 16> kAtoms = {"Cu1", "O1",  "O2",  "O3",  "Fe1", "Fe2",
                                                "Mn1", "La1", "Sr1", "Ba1", "Ti1", "Ni1",
                                                "Co1", "Zn1", "Bi1", "Nd1"};
constexpr std::array<const char*, 8> kAtomParams = {"X",   "Y",   "Z",   "Biso",
                                                    "Occ", "B11", "B22", "B33"};
constexpr std::array<const char*, 30> kProfileParams = {
    "Scale_ph1", "Scale_ph2", "Scale_ph3", "Eta0",  "X-tan", "U-hw",  "V-hw",  "W-hw",
    "Zero",      "SyCos",     "SySin",     "Asym1", "Asym2", "Asym3", "Asym4", "Cell_a",
    "Cell_b",    "Cell_c",    "Alpha",     "Beta",  "Gamma", "Bover", "Pref1", "Pref2",
    "Bck_0",     "Bck_1",     "Bck_2",     "Bck_3", "Bck_4", "Bck_5"};

// Lines seen during ordinary refinement cycles.
constexpr const char* kRefinementLines[] = {
    "  => Phase: %2d  Bragg R-factor: %7.3f  Vol: %10.4f( %7.4f)  Fract(%%): %6.2f( %5.2f)",
    "  => Phase: %2d  Rf-factor: %7.3f  ATZ: %12.3f  Brindley: %6.4f",
    "  => N-P+C: %7d  Sum(w*(Yobs-Ycalc)^2): %14.4f",
    "  => Conventional Rietveld factors (background subtracted): %8.3f %8.3f",
    "  => Deviance: %12.4E  Dev*: %10.4f",
    "  => Durbin-Watson Stat.: %7.4f  Expected DW: %7.4f",
    "  => Global user-weighted Chi2 (Bragg contrib.): %9.3f",
    "  -> Shift/Error max: %8.4f  for parameter %4d",
    "    Pos.    2Theta       Yobs       Ycalc  Yobs-Ycalc     Backg.",
    "  %6d %10.4f %10.1f %10.1f %10.1f %9.1f",
    "  %4d%4d%4d%4d %9.4f %9.4f %12.2f %12.2f %10.3f",
    "  %4d%4d%4d%4d %9.4f %9.4f %12.2f %12.2f %10.3f %8.3f %6d",
    " ----------------------------------------------------------------------------",
    "  => Number of reflections in phase %2d: %6d  (%5d independent)",
    "  => Zero-point: %9.5f ( %8.5f)   SyCos: %9.5f ( %8.5f)   SySin: %9.5f ( %8.5f)",
    "  => Cell parameters: %10.5f %10.5f %10.5f %9.4f %9.4f %9.4f",
    "  => Scale factors: %12.5E %12.5E",
    "  => Halfwidth parameters U,V,W: %9.5f %9.5f %9.5f",
    "  => Preferred orientation: %8.5f %8.5f    Asymmetry: %8.5f %8.5f %8.5f %8.5f",
    "  => Overall B-factor: %8.4f (%7.4f)   Sum of shifts/esd: %10.4f",
    "  => Marquardt factor: %10.4E   Relaxation: %5.2f",
    "  => Condition number of normal matrix: %12.5E",
    "  => Cycle duration: %8.3f s   accumulated: %10.3f s",
    " => Convergence not yet reached, max shift/esd = %8.4f",
    "    Atom   Typ      X         Y         Z        Biso      Occ     Mult",
    "  => Background points: %4d   Refined: %3d   Mean: %10.2f",
    "",
    " ",
    "  => Bond distances (A): %7.4f %7.4f %7.4f %7.4f",
    "  => Absorption correction: muR = %7.4f  Transm: %6.4f",
    "  => Excluded regions: %8.3f - %8.3f   %8.3f - %8.3f",
    "  => Chi2: %9.3f  (cycle %3d)",
    "  => R-Factors: %7.2f %7.2f  Chi2: %8.3f  DW-Stat.: %7.4f  Patt#: %2d",
    "  => Expected Rexp: %8.3f   Rwp/Rexp: %7.4f",
    "  Observed  %12.4f   Calculated %12.4f   Difference %12.4f",
    "  => Refined parameters: %4d    Constraints: %3d    Restraints: %3d",
    "  => Anisotropic strain: S400=%9.5f S040=%9.5f S004=%9.5f S220=%9.5f",
    "  => Size broadening: Y-iso= %8.4f  Gauss-iso= %8.4f  Lorentz-aniso= %8.4f",
    " => Magnetic moment of site %2d:  Mx=%7.3f  My=%7.3f  Mz=%7.3f  |M|=%7.3f",
    "      %10.4f %10.4f %10.4f %10.4f %10.4f %10.4f %10.4f %10.4f %10.4f %10.4f",
    "      %3d  %12.6f  %12.6f  %12.6f  %12.6f",
    "  => Correlation %4d %4d : %6.1f%%",
    "  => Sum(Yobs): %14.3f  Sum(Ycalc): %14.3f  Sum(Yback): %14.3f",
    " => Writing intermediate profile for cycle %4d",
    "  => Total number of refined parameters in this cycle: %4d",
    "  => Weighted residual per point: %10.5f   Point count: %7d",
    "  => Peak shape: pseudo-Voigt  Eta: %7.4f  X: %7.4f  Cut-off: %5.1f FWHM",
    "  => Reflections with I/sigma > 3: %6d of %6d",
    "  => Max. difference peak: %8.3f at 2Theta = %9.4f",
    "  => Soft constraint %3d: d(%2d-%2d) = %7.4f  target %7.4f  sigma %6.4f",
    "  => Micro-absorption: P0= %7.4f  Cp= %7.4f  Tau= %7.4f",
    "  => Extinction parameter: %9.5f (%8.5f)",
    "    hkl    mult   d-spacing   2Theta    Icalc    Iobs   Sigma",
    "  => Chi2: %8.3f  Delta: %9.5f  Patt#: %2d  Points: %7d",
    "  => Rwp: %7.2f  Rexp: %7.2f  (pattern %2d)",
};

// Lines seen during simulated-annealing temperature cycles.
constexpr const char* kAnnealingLines[] = {
    " => Temp: %9.4f  Acc.ratio: %6.4f  Cost: %12.4f  Best: %12.4f",
    " => Configuration %6d  cost= %12.5f  accepted: %6d  rejected: %6d",
    "    Atom %2d  x= %8.5f y= %8.5f z= %8.5f  Occ= %6.4f",
    " => Current best: cost= %10.4f  at step %8d",
    " => Neighbour search radius: %7.4f  step width: %7.4f",
    " => Anti-bump penalty: %10.4f  (%4d contacts)",
    " => Chi2: %9.3f  (T-cycle %3d)",
    " => Restarting from best configuration, run %3d of %3d",
    " => Rotation angles (deg): %8.3f %8.3f %8.3f  Translation: %7.4f %7.4f %7.4f",
    " => Moves: %8d  Accepted: %8d  Ratio: %6.4f  <Cost>: %12.4f",
    "    Object %2d  Euler: %8.3f %8.3f %8.3f  Centre: %8.5f %8.5f %8.5f",
    " => Torsion %2d: %8.3f deg   step: %7.3f",
    " => Boundary reflections: %5d   Intensity sum: %14.3f",
    " => Cost contributions: intensities %10.4f  distances %10.4f  angles %10.4f",
    "",
    " => Cooling factor: %6.4f  Next T: %9.4f",
    " => Best cost so far: %12.5f  (T-cycle %4d, move %8d)",
    "  %4d%4d%4d %12.3f %12.3f %10.3f",
    " => Occupation swaps: %6d  accepted: %6d",
    " => Local minimisation: %4d iterations  final cost %12.5f",
};

// Lines between the end of refinement and the CPU Time line.
constexpr const char* kClosingLines[] = {
    " ==> RESULTS OF THE REFINEMENT (last cycle):",
    "  => Conventional Rietveld factors for pattern: %2d",
    "  => Phase: %2d  Bragg R-factor: %7.3f  Vol: %10.4f( %7.4f)  Fract(%%): %6.2f( %5.2f)",
    "  => Global user-weighted Chi2 (Bragg contrib.): %9.3f",
    "  => Chi2: %9.3f  (final)",
    "  => Expected Rexp: %8.3f   Rwp/Rexp: %7.4f",
    "  => Durbin-Watson Stat.: %7.4f  Expected DW: %7.4f",
    "  => N-P+C: %7d  Sum(w*(Yobs-Ycalc)^2): %14.4f",
    "  => Deviance: %12.4E  Dev*: %10.4f",
    " => Writing final profile file and reflection list",
    " => Files written: %3d   Reflections: %6d",
    "",
    " ----------------------------------------------------------------------------",
    "  => Cell parameters: %10.5f %10.5f %10.5f %9.4f %9.4f %9.4f",
    "  => Sum(Yobs): %14.3f  Sum(Ycalc): %14.3f  Sum(Yback): %14.3f",
};

// Lines longer than 256 bytes: rows of the correlation matrix.
std::string LongLineFormat(int fields) {
  std::string f = "  => Correlation row %4d:";
  for (int i = 0; i < fields; ++i) f += " %10.6f";
  return f;
}

struct TemplateSets {
  std::vector<LineTemplate> refinement;
  std::vector<LineTemplate> annealing;
  std::vector<LineTemplate> closing;
  std::vector<LineTemplate> long_lines;
};

void AddParameterRows(const std::string& name, std::vector<LineTemplate>& out) {
  // Formatted rather than concatenated: g++ 12 warns wrongly (-Wrestrict) on
  // "literal" + std::string temporaries.
  const char* n = name.c_str();
  out.emplace_back(Format("  %%4d  %-14s%%14.6f%%14.6f%%12.6f%%12.6f", n));
  out.emplace_back(Format(" %-14s %%12.5f ( %%10.5f)  shift: %%10.5f  Sh/esd: %%7.3f", n));
  out.emplace_back(Format("   -> Parameter number %%4d : %s changes from %%12.6f to %%12.6f", n));
}

void RequireNoMarker(const std::vector<LineTemplate>& set) {
  for (const LineTemplate& t : set) {
    for (std::string_view marker : ReservedMarkers()) {
      if (t.format().find(marker) != std::string::npos) {
        std::fprintf(stderr, "log_synth: bulk template holds marker '%.*s': %s\n",
                     static_cast<int>(marker.size()), marker.data(), t.format().c_str());
        std::abort();
      }
    }
  }
}

std::unique_ptr<TemplateSets> BuildTemplates() {
  auto sets = std::make_unique<TemplateSets>();
  for (const char* f : kRefinementLines) sets->refinement.emplace_back(f);
  for (const char* atom : kAtoms) {
    std::string atom_row = Format("    %s    %s  %%9.5f %%9.5f %%9.5f %%8.4f %%8.4f %%4d", atom,
                                  atom[0] == 'O' ? "O" : "M");
    sets->refinement.emplace_back(atom_row);
    sets->annealing.emplace_back(atom_row);
    for (const char* param : kAtomParams) {
      AddParameterRows(Format("%s_%s", atom, param), sets->refinement);
    }
  }
  for (const char* param : kProfileParams) AddParameterRows(param, sets->refinement);
  for (const char* f : kAnnealingLines) sets->annealing.emplace_back(f);
  for (const char* f : kClosingLines) sets->closing.emplace_back(f);
  for (int fields : {22, 26, 31, 38}) sets->long_lines.emplace_back(LongLineFormat(fields));

  RequireNoMarker(sets->refinement);
  RequireNoMarker(sets->annealing);
  RequireNoMarker(sets->closing);
  RequireNoMarker(sets->long_lines);
  return sets;
}

const TemplateSets& Templates() {
  static const std::unique_ptr<TemplateSets> sets = BuildTemplates();
  return *sets;
}

const LineTemplate& Pick(const std::vector<LineTemplate>& set, Rng& rng) {
  return set[rng.Below(set.size())];
}

// ---------------------------------------------------------------------------
// Whole logs.

constexpr std::array<const char*, 16> kCompounds = {
    "cu2o",   "lamno3", "fe3o4", "batio3",  "srtio3", "nio",   "zno",    "bifeo3",
    "ndnio3", "lacoo3", "y2o3",  "mgal2o4", "ceo2",   "al2o3", "rutile", "pzt52"};

std::string OrdinaryName(Rng& rng) {
  const char* stem = kCompounds[rng.Below(kCompounds.size())];
  switch (rng.Below(5)) {
    case 0:
      return Format("%s_run%d", stem, rng.Between(1, 99));
    case 1:
      return Format("%s_rt", stem);
    case 2:
      return Format("%s_%dk", stem, rng.Between(2, 1200));
    case 3:
      return Format("%s_d2b_%d", stem, rng.Between(1, 20));
    default:
      return Format("%s_xrd%d", stem, rng.Between(1, 9));
  }
}

std::string AnnealingName(Rng& rng) {
  switch (rng.Below(3)) {
    case 0:
      return Format("sa_run%d", rng.Between(1, 40));
    case 1:
      return Format("mc_%s%d", kCompounds[rng.Below(kCompounds.size())], rng.Between(1, 9));
    default:
      return Format("sann_%s", kCompounds[rng.Below(kCompounds.size())]);
  }
}

// Returns `prefix` followed by a random date and time of day.
std::string Timestamp(const char* prefix, Rng& rng) {
  return Format("%sDate: %02d/%02d/%04d  Time: %02d:%02d:%02d.%03d", prefix, rng.Between(1, 28),
                rng.Between(1, 12), rng.Between(2015, 2025), rng.Between(0, 23), rng.Between(0, 59),
                rng.Between(0, 59), rng.Between(0, 999));
}

void AppendLine(std::string& out, const std::string& line) {
  out += line;
  out += '\n';
}

void AppendBanner(std::string& out, Rng& rng) {
  AppendLine(out, " ");
  AppendLine(out, "      ****************************************************************");
  AppendLine(out, Format("      **    KOLVARAN  refinement engine   Version %d.%02d (%s %d)    **",
                         rng.Between(3, 5), rng.Between(0, 40), rng.Chance(0.5) ? "Mar" : "Oct",
                         rng.Between(2015, 2025)));
  AppendLine(out, "      ****************************************************************");
  AppendLine(out, " ");
  AppendLine(out, Timestamp(" => ", rng));
}

std::string OrdinaryHeader(Rng& rng, const std::string& name) {
  std::string out;
  AppendBanner(out, rng);
  if (rng.Chance(0.7))
    AppendLine(out,
               Format(" => Title: %s  data collected at %d K", name.c_str(), rng.Between(2, 1200)));
  if (rng.Chance(0.5)) AppendLine(out, " ");
  AppendLine(out, (rng.Chance(0.8) ? " Control file *.pcr: " : " => Control file *.pcr: ") + name);
  AppendLine(out, " => Data file    *.dat: " + name);
  AppendLine(out, " => Output file  *.out: " + name);
  if (rng.Chance(0.6)) AppendLine(out, " => Profile file *.prf: " + name);
  AppendLine(out, " ");
  AppendLine(out, Format(" => Number of phases: %d", rng.Between(1, 3)));
  AppendLine(out, Format(" => Number of patterns: %d", rng.Between(1, 2)));
  AppendLine(out, Format(" => Wavelengths: %8.5f %8.5f  Ratio: %6.4f", 1.0 + rng.Unit(),
                         1.0 + rng.Unit(), rng.Unit()));
  AppendLine(out, Format(" => Max. number of cycles: %d   Relaxation: %4.2f", rng.Between(10, 200),
                         rng.Unit()));
  AppendLine(out, " ");
  return out;
}

std::string AnnealingHeader(Rng& rng, const std::string& name) {
  std::string out;
  AppendBanner(out, rng);
  AppendLine(out, " => Job name: " + name);
  AppendLine(out, " => Mode: simulated annealing (Monte Carlo search of the structure)");
  AppendLine(out, Format(" => Number of T-cycles: %d   Initial T: %6.3f   Cooling: %4.2f",
                         rng.Between(20, 400), 1.0 + 9.0 * rng.Unit(), 0.8 + 0.19 * rng.Unit()));
  AppendLine(out, Format(" => Moves per T-cycle: %d   Independent runs: %d",
                         rng.Between(100, 50000), rng.Between(1, 20)));
  AppendLine(out, " ");
  return out;
}

std::string CpuTimeLine(Rng& rng, double* seconds) {
  *seconds = 0.5 + 5000.0 * rng.Unit() * rng.Unit();
  return Format("  CPU Time:%11.3f seconds", *seconds);
}

std::string OrdinaryTail(Rng& rng) {
  const TemplateSets& sets = Templates();
  std::string out;
  AppendLine(out, " => Normal end, final calculations and writing...");
  for (int i = rng.Between(3, 25); i > 0; --i) Pick(sets.closing, rng).Render(rng, out);

  // The agreement factors are positive, unlike the template fields.
  double chi2 = 0.8 + 20.0 * rng.Unit() * rng.Unit();
  double rp = 2.0 + 15.0 * rng.Unit();
  double rwp = rp * (1.1 + 0.5 * rng.Unit());
  double which = rng.Unit();
  std::string result;
  if (which < 0.75) {
    result = Format("  => Chi2:%7.2f   => Rp:%6.2f  => Rwp:%6.2f  => Rexp:%6.2f\n", chi2, rp, rwp,
                    rwp / std::sqrt(chi2));
  } else if (which < 0.85) {
    result = Format("  => Rp:%7.2f  Rwp:%7.2f  Rexp:%7.2f  Chi2:%8.3f\n", rp, rwp,
                    rwp / std::sqrt(chi2), chi2);
  } else {
    result = Format(" => RF2 -factor : %8.2f\n", rp);
  }
  bool result_after_cpu = rng.Chance(0.05);
  double seconds = 0;
  std::string cpu = CpuTimeLine(rng, &seconds) + "\n";
  std::string minutes = Format("            %.3f minutes\n", seconds / 60.0);
  if (!result_after_cpu) {
    out += result;
    if (result.find("RF2") != std::string::npos && rng.Chance(0.5)) {
      AppendLine(out, Format(" => RF2w-factor: %8.2f", rp * (1.2 + rng.Unit())));
    }
    // Keeps the result line within 33 lines above the CPU Time line.
    for (int i = rng.Between(0, 30); i > 0; --i) Pick(sets.closing, rng).Render(rng, out);
    out += cpu;
    out += minutes;
  } else {
    out += cpu;
    if (rng.Chance(0.5)) out += minutes;
    out += result;
  }
  AppendLine(out, Timestamp(" => Run finished at:   ", rng));
  if (rng.Chance(0.3)) AppendLine(out, " ");
  return out;
}

std::string AnnealingTail(Rng& rng, const std::string& name) {
  const TemplateSets& sets = Templates();
  std::string out;
  AppendLine(out,
             Format(" => Simulated annealing finished after %d T-cycles", rng.Between(5, 400)));
  AppendLine(out, " => Best configurations (ordered by cost):");
  int solutions = rng.Between(1, 5);
  for (int s = 1; s <= solutions; ++s) {
    AppendLine(out, Format(" => Sol#:%2d RF2=%9.4f Chi2=%8.3f", s, 3.0 + 20.0 * rng.Unit(),
                           1.0 + 5.0 * rng.Unit()));
  }
  // All solution lines stay within the 28 lines above the CPU Time line, even
  // with the PCR line and two more between them and the CPU Time line.
  for (int i = rng.Between(0, 24 - solutions); i > 0; --i) {
    Pick(sets.annealing, rng).Render(rng, out);
  }
  double seconds = 0;
  std::string cpu = CpuTimeLine(rng, &seconds) + "\n";
  std::string minutes = Format("            %.3f minutes\n", seconds / 60.0);
  std::string pcr = " => PCR  File  : " + name + "\n";
  std::string finished = Timestamp(" => Run finished at:   ", rng);
  finished += '\n';
  if (rng.Chance(0.8)) {
    // CPU Time, up to 2 lines, the PCR line, up to 3 lines: the PCR line is
    // among the last 4 lines.
    out += cpu;
    if (rng.Chance(0.7)) out += minutes;
    if (rng.Chance(0.3)) AppendLine(out, " ");
    out += pcr;
    int trailing = rng.Between(0, 3);
    if (trailing >= 1) out += finished;
    for (int i = 1; i < trailing; ++i) AppendLine(out, " ");
  } else {
    // The PCR line, up to 2 lines, CPU Time, up to 2 lines: at most 6 lines
    // follow the PCR line.
    out += pcr;
    if (rng.Chance(0.5)) AppendLine(out, " ");
    if (rng.Chance(0.5)) out += finished;
    out += cpu;
    if (rng.Chance(0.7)) out += minutes;
    if (rng.Chance(0.3)) AppendLine(out, " ");
  }
  return out;
}

// Collects the log and hands it to the sink in chunks.
class ChunkedOutput {
 public:
  explicit ChunkedOutput(const ChunkSink& sink) : sink_(sink) { buf_.reserve(kChunkBytes + 4096); }

  std::string& buf() { return buf_; }
  std::uint64_t written() const { return flushed_ + buf_.size(); }
  bool ok() const { return ok_; }

  void MaybeFlush() {
    if (buf_.size() >= kChunkBytes) Flush();
  }
  void Flush() {
    if (ok_ && !buf_.empty()) ok_ = sink_(buf_);
    flushed_ += buf_.size();
    buf_.clear();
  }

 private:
  const ChunkSink& sink_;
  std::string buf_;
  std::uint64_t flushed_ = 0;
  bool ok_ = true;
};

// Refinement cycles until `limit` bytes are written in total.
void OrdinaryBulk(Rng& rng, std::uint64_t limit, ChunkedOutput& out) {
  const TemplateSets& sets = Templates();
  int cycle = 1;
  int max_cycle = rng.Between(20, 200);
  int pattern = 1;
  while (out.written() < limit && out.ok()) {
    out.buf() += Format(" => Cycle: %4d  => MaxCycle: %4d\n", cycle, max_cycle);
    for (int n = rng.Between(15, 90); n > 0 && out.written() < limit; --n) {
      const auto& set = rng.Chance(0.003) ? sets.long_lines : sets.refinement;
      Pick(set, rng).Render(rng, out.buf());
    }
    out.buf() += Format("  => R-Factors: %7.2f %7.2f  Chi2: %8.3f\n", 2.0 + 30.0 * rng.Unit(),
                        3.0 + 40.0 * rng.Unit(), 0.8 + 50.0 * rng.Unit() * rng.Unit());
    out.MaybeFlush();
    if (++cycle > max_cycle) {
      // A sequential refinement: the next pattern starts from cycle 1.
      cycle = 1;
      out.buf() +=
          Format(" => Pattern #%d: starting refinement from previous results\n", ++pattern);
    }
  }
}

// Temperature cycles until `limit` bytes are written in total.
void AnnealingBulk(Rng& rng, std::uint64_t limit, ChunkedOutput& out) {
  const TemplateSets& sets = Templates();
  int t_cycle = 1;
  double temperature = 2.0 + 8.0 * rng.Unit();
  while (out.written() < limit && out.ok()) {
    out.buf() += Format(" => T-cycle: %5d  T= %10.5f\n", t_cycle++, temperature);
    temperature = temperature > 1e-3 ? temperature * 0.97 : 5.0;
    for (int n = rng.Between(10, 60); n > 0 && out.written() < limit; --n) {
      const auto& set = rng.Chance(0.003) ? sets.long_lines : sets.annealing;
      Pick(set, rng).Render(rng, out.buf());
    }
    out.MaybeFlush();
  }
}

}  // namespace

Rng::Rng(std::uint64_t seed) {
  std::uint64_t x = seed;
  for (auto& s : s_) s = SplitMix64(x);
}

std::uint64_t Rng::Next() {
  const std::uint64_t result = Rotl(s_[1] * 5, 7) * 9;
  const std::uint64_t t = s_[1] << 17;
  s_[2] ^= s_[0];
  s_[3] ^= s_[1];
  s_[1] ^= s_[2];
  s_[0] ^= s_[3];
  s_[2] ^= t;
  s_[3] = Rotl(s_[3], 45);
  return result;
}

std::uint64_t Rng::Below(std::uint64_t n) {
  return static_cast<std::uint64_t>((static_cast<unsigned __int128>(Next()) * n) >> 64);
}

int Rng::Between(int lo, int hi) {
  return lo + static_cast<int>(Below(static_cast<std::uint64_t>(hi - lo) + 1));
}

double Rng::Unit() { return static_cast<double>(Next() >> 11) * 0x1.0p-53; }

bool Rng::Chance(double p) { return Unit() < p; }

Rng RngForLog(std::uint64_t seed, std::uint64_t index) {
  std::uint64_t x = seed ^ (index * 0xd1b54a32d192ed03ULL);
  return Rng(SplitMix64(x));
}

LogKind MixedKindForLog(std::uint64_t seed, std::uint64_t index) {
  Rng rng(~seed ^ (index * 0x9e3779b97f4a7c15ULL));
  return rng.Chance(0.7) ? LogKind::kOrdinary : LogKind::kAnnealing;
}

const std::vector<std::string_view>& ReservedMarkers() {
  static const std::vector<std::string_view> markers = {
      "Control file", "Normal end", "CPU", "Rp:", "RF2", "PCR  File  :", "Sol#:"};
  return markers;
}

bool WriteLog(LogKind kind, std::uint64_t target_bytes, Rng& rng, const ChunkSink& sink) {
  ChunkedOutput out(sink);
  std::string tail;
  if (kind == LogKind::kOrdinary) {
    std::string name = OrdinaryName(rng);
    out.buf() += OrdinaryHeader(rng, name);
    tail = OrdinaryTail(rng);
    std::uint64_t limit = target_bytes > tail.size() ? target_bytes - tail.size() : 0;
    OrdinaryBulk(rng, limit, out);
  } else {
    std::string name = AnnealingName(rng);
    out.buf() += AnnealingHeader(rng, name);
    tail = AnnealingTail(rng, name);
    std::uint64_t limit = target_bytes > tail.size() ? target_bytes - tail.size() : 0;
    AnnealingBulk(rng, limit, out);
  }
  out.buf() += tail;
  out.Flush();
  return out.ok();
}

}  // namespace tabrun_bench
