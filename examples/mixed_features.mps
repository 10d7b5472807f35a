* A small mixed-integer model that touches most sections of the MPS format:
* an objective sense, free and ranged rows, integer markers, a second rhs set,
* every bound type, and a special ordered set. It is a seed of the reader
* fuzz runs (fuzz/) as well as an example of the format.
NAME          MIXED
OBJSENSE
    MAX
ROWS
 N  PROFIT
 L  CAP1
 G  DEMAND
 E  BAL
 L  RANGED
 N  SPARE
COLUMNS
    X1        PROFIT         3.0   CAP1           1.0
    X1        DEMAND         2.0   SPARE          1.0
    X2        PROFIT         2.0   CAP1           1.0
    X2        BAL            1.0
    MARKER                 'MARKER'                 'INTORG'
    N1        PROFIT         1.5   CAP1           2.0
    N1        RANGED         1.0
    B1        PROFIT        -1.0   DEMAND         1.0
    MARKER                 'MARKER'                 'INTEND'
    X3        PROFIT         0.5   BAL           -1.0
    X3        RANGED         1.0
    S1        PROFIT         0.25  RANGED         2.0
    F1        BAL            1.0   PROFIT        -0.1
RHS
    RHS       CAP1          10.0   DEMAND         2.0
    RHS       BAL            0.0   RANGED         8.0
    RHS       PROFIT        -1.0
    OTHER     CAP1          99.0
RANGES
    RNG       RANGED         4.0
BOUNDS
 UP BND       X1             4.0
 LO BND       X2            -1.0
 UP BND       X2             6.5
 LI BND       N1             0
 UI BND       N1             5
 BV BND       B1
 MI BND       X3
 UP BND       X3             3.0
 SC BND       S1             2.5
 FR BND       F1
SOS
 S1 SET1
    X1             1.0
    X3             2.0
ENDATA
