import numpy
import numpy.typing

class Cell:
    def __init__(self, config: CellConfig) -> None: ...
    def advance(self, seconds: float) -> None: ...
    def command(self, base_flange: numpy.typing.ArrayLike) -> None: ...
    def contact(self) -> numpy.typing.NDArray[numpy.float64]: ...
    def flange(self) -> numpy.typing.NDArray[numpy.float64]: ...
    def penetration(self) -> float: ...
    def reading(self) -> numpy.typing.NDArray[numpy.float64]: ...

class CellConfig:
    flange_sensor: numpy.typing.NDArray[numpy.float64]
    force_noise: float
    lag: float
    load: Load
    offset: numpy.typing.NDArray[numpy.float64]
    quantise: bool
    seed: int
    sensor_tool: numpy.typing.NDArray[numpy.float64]
    start: numpy.typing.NDArray[numpy.float64]
    surface: Surface
    torque_noise: float
    def __init__(self, **kwargs: object) -> None: ...

class Load:
    centre: numpy.typing.NDArray[numpy.float64]
    weight: float
    def __init__(self, **kwargs: object) -> None: ...

class Surface:
    damping: float
    friction: float
    pose: numpy.typing.NDArray[numpy.float64]
    radius: float
    stiffness: float
    def __init__(self, **kwargs: object) -> None: ...
