// What the report's viewer uses of three.
export {
  BufferAttribute, BufferGeometry, Color, ColorManagement, DoubleSide, LinearSRGBColorSpace, LineBasicMaterial, LineSegments, Matrix4, Mesh,
  NoBlending, PerspectiveCamera, Points, PointsMaterial, Scene, ShaderMaterial, Sphere, Vector3, WebGLRenderer,
  WebGLRenderTarget,
} from 'three';
export {OrbitControls} from 'three/examples/jsm/controls/OrbitControls.js';
