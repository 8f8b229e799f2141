#include "ft/ZelForceSensorBase.h"

ZelSensor::ZelSensor() = default;
ZelSensor::~ZelSensor() = default;
