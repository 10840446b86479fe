import java.io.File;
import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import org.eclipse.emf.common.util.URI;
import org.eclipse.emf.ecore.EObject;
import org.eclipse.emf.ecore.EPackage;
import org.eclipse.emf.ecore.EReference;
import org.eclipse.emf.ecore.EStructuralFeature;
import org.eclipse.emf.ecore.EcorePackage;
import org.eclipse.emf.ecore.resource.Resource;
import org.eclipse.emf.ecore.resource.ResourceSet;
import org.eclipse.emf.ecore.resource.impl.ResourceSetImpl;
import org.eclipse.emf.ecore.xmi.impl.XMIResourceFactoryImpl;

/**
 * Prints what EMF makes of a document with its usual options, however imperfect that is: a line for each
 * element with its values, references by the names of their targets. Other documents are loaded as EMF does.
 *
 * <pre>java Show META.ecore DOCUMENT</pre>
 */
public final class Show {
    private Show() {}

    public static void main(String[] arguments) throws IOException {
        EPackage metaModel = (EPackage) newResourceSet().getResource(uriOf(arguments[0]), true).getContents().get(0);
        ResourceSet resources = newResourceSet();
        resources.getPackageRegistry().put(metaModel.getNsURI(), metaModel);
        Resource document = resources.createResource(uriOf(arguments[1]));
        try {
            document.load(null);
        } catch (IOException problems) {
            // What could be read is there all the same.
        }
        for (EObject root : document.getContents()) show(root, "");
    }

    private static URI uriOf(String path) {
        return URI.createFileURI(new File(path).getAbsolutePath());
    }

    private static ResourceSet newResourceSet() {
        ResourceSet resources = new ResourceSetImpl();
        resources.getResourceFactoryRegistry().getExtensionToFactoryMap().put("*", new XMIResourceFactoryImpl());
        resources.getPackageRegistry().put(EcorePackage.eNS_URI, EcorePackage.eINSTANCE);
        return resources;
    }

    private static void show(EObject element, String indent) {
        StringBuilder line = new StringBuilder(indent).append(element.eClass().getName());
        for (EStructuralFeature feature : element.eClass().getEAllStructuralFeatures()) {
            boolean isChild = feature instanceof EReference && ((EReference) feature).isContainment();
            if (isChild || !element.eIsSet(feature)) continue;
            line.append(' ').append(feature.getName()).append('=').append(textOf(element.eGet(feature)));
        }
        System.out.println(line);
        for (EObject child : element.eContents()) show(child, indent + "  ");
    }

    private static String textOf(Object value) {
        if (value instanceof List<?>) {
            List<String> texts = new ArrayList<>();
            for (Object each : (List<?>) value) texts.add(textOf(each));
            return texts.toString();
        }
        if (!(value instanceof EObject)) return String.valueOf(value);
        EObject target = (EObject) value;
        if (target.eIsProxy()) return "?";
        return String.valueOf(target.eGet(target.eClass().getEStructuralFeature("name")));
    }
}
